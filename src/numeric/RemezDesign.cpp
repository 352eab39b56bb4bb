#include "sigflow/numeric/RemezDesign.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <numbers>
#include <string>

namespace sigflow {

namespace {

constexpr double kPi = std::numbers::pi;

[[noreturn]] void Fail(const std::string& message) { throw EFilterDesignError(message); }

struct GridPoint {
  double f;    // cycles/sample, 0 .. 0.5
  double des;  // desired amplitude divided by Q(f)
  double wt;   // weight multiplied by Q(f)
  int band;
};

// Target amplitude (the real function Hr with H = Hr e^{-j 2 pi nu c}, times j for the
// antisymmetric types) and weight of one response type at frequency f.
void Target(TRemezType type, double d, double w, double f, double& des, double& wt) {
  switch (type) {
    case rmtMultiband:
    case rmtHilbert:
      des = d;
      wt = w;
      return;
    case rmtDifferentiator:
      des = d * f;
      wt = d >= 1e-4 ? w / f : w;
      return;
    case rmtDoubleDifferentiator:
      des = -d * f * f;
      wt = std::abs(d) >= 1e-4 ? w / f : w;
      return;
    case rmtIntegrator:
      des = -d / f;
      wt = w * f;
      return;
    case rmtDoubleIntegrator:
      des = -d / (f * f);
      wt = w * f * f;
      return;
  }
}

// Barycentric form of the polynomial through (x[k], y[k]). The weights 1 / prod 2(x_k - x_j)
// span far more than the double range for long designs: products are formed for all k at
// once (a loop over k that vectorises) and renormalised with frexp every 16 factors, the
// binary exponents kept apart; the factor 2 keeps the products near 1 for spread points.
struct Barycentric {
  std::vector<double> x, y, w;
  std::vector<double> prod_;
  std::vector<long> exp_;
  long scaleExp_ = 0;           // true weights are w_k 2^-scaleExp_
  double lo_ = -1.0, hi_ = 1.0;  // range of the nodes

  // First (modified Lagrange) form, l(t) sum w_k y_k / (t - x_k): backward stable also
  // outside the range of the nodes, where the second form is not.
  double FirstForm(double t) const {
    double mant = 1.0, sum = 0.0;
    long e = 0;
    for (std::size_t k = 0; k < x.size(); ++k) {
      const double d = 2.0 * (t - x[k]);
      if (d == 0.0) return y[k];
      mant *= d;
      sum += w[k] * y[k] / d;
      if (k % 16 == 15) {
        int ek;
        mant = std::frexp(mant, &ek);
        e += ek;
      }
    }
    return std::ldexp(mant * sum, static_cast<int>(e - scaleExp_));
  }

  void Weights() {
    const std::size_t n = x.size();
    prod_.assign(n, 1.0);
    exp_.assign(n, 0);
    for (std::size_t j = 0; j < n; ++j) {
      const double xj = x[j];
      double* p = prod_.data();
      const double* xs = x.data();
      for (std::size_t k = 0; k < j; ++k) p[k] *= 2.0 * (xs[k] - xj);
      for (std::size_t k = j + 1; k < n; ++k) p[k] *= 2.0 * (xs[k] - xj);
      if (j % 16 == 15 || j + 1 == n) {
        for (std::size_t k = 0; k < n; ++k) {
          int e;
          prod_[k] = std::frexp(prod_[k], &e);
          exp_[k] += e;
        }
      }
    }
    // w_k = 1 / (prod_k 2^exp_k), scaled so the largest |w_k| is about 1.
    long emin = exp_[0];
    for (long e : exp_) emin = std::min(emin, e);
    scaleExp_ = emin;
    lo_ = *std::min_element(x.begin(), x.end());
    hi_ = *std::max_element(x.begin(), x.end());
    w.resize(n);
    for (std::size_t k = 0; k < n; ++k) {
      const long shift = exp_[k] - emin;
      w[k] = shift > 1000 ? 0.0 : std::ldexp(1.0 / prod_[k], -static_cast<int>(shift));
    }
  }

  // Lebesgue function sum |l_k(t)|: how much rounding in the node values grows at t.
  double Lebesgue(double t) const {
    double num = 0.0, den = 0.0;
    for (std::size_t k = 0; k < x.size(); ++k) {
      const double d = t - x[k];
      if (d == 0.0) return 1.0;
      num += std::abs(w[k] / d);
      den += w[k] / d;
    }
    return num / std::abs(den);
  }

  double operator()(double t) const {
    if (t < lo_ || t > hi_) return FirstForm(t);
    double num = 0.0, den = 0.0;
    for (std::size_t k = 0; k < x.size(); ++k) {
      const double d = t - x[k];
      if (d == 0.0) return y[k];
      const double c = w[k] / d;
      num += c * y[k];
      den += c;
    }
    return num / den;
  }

  // Values at t[0 .. count-1]. Points are processed in blocks with the node loop outside, so
  // the inner loop runs over independent points and vectorises.
  void Evaluate(const double* t, double* out, std::size_t count) const {
    // Fixed-size blocks (the tail padded with a point outside [-1, 1]) so the inner loop has a
    // constant trip count and vectorises at -O2.
    constexpr std::size_t kBlock = 64;
    double tb[kBlock], num[kBlock], den[kBlock];
    for (std::size_t b = 0; b < count; b += kBlock) {
      const std::size_t m = std::min(kBlock, count - b);
      for (std::size_t i = 0; i < kBlock; ++i) {
        tb[i] = i < m ? t[b + i] : 3.0;
        num[i] = den[i] = 0.0;
      }
      for (std::size_t k = 0; k < x.size(); ++k) {
        const double xk = x[k], wk = w[k], wy = w[k] * y[k];
        for (std::size_t i = 0; i < kBlock; ++i) {
          const double inv = 1.0 / (tb[i] - xk);
          num[i] += wy * inv;
          den[i] += wk * inv;
        }
      }
      for (std::size_t i = 0; i < m; ++i) {
        out[b + i] = num[i] / den[i];
        if (t[b + i] < lo_ || t[b + i] > hi_) out[b + i] = FirstForm(t[b + i]);
        if (!std::isfinite(out[b + i])) {  // t is a node (or next to one)
          for (std::size_t k = 0; k < x.size(); ++k)
            if (t[b + i] == x[k]) out[b + i] = y[k];
        }
      }
    }
  }
};

struct Problem {
  TRemezType type;
  bool neg, odd;
  const std::vector<double>& edge;
  std::span<const double> desired, weight;
  int density, maxIterations;
  std::function<double(double)> q;
};

struct Solution {
  Barycentric poly;
  std::vector<GridPoint> extremalPoints;  // grid points of the final alternation set
  std::vector<double> extremal;  // frequencies of the final alternation set
  std::vector<int> extremalBand;
  double delta = 0.0;
  double xlo = -1.0, xhi = 1.0;  // range of x = cos(2 pi f) over the grid
};

// Least-squares solution of m a = b (rows x cols, rows >= cols, m column-major: column j
// at m[j * rows]) by Householder QR. Backward stable: the residual stays at rounding level
// even where m is ill-conditioned, which is what the caller needs.
std::vector<double> SolveQr(std::vector<double> m, std::vector<double> b, int rows, int cols) {
  std::vector<double> v(rows);
  for (int k = 0; k < cols; ++k) {
    double* ck = &m[static_cast<std::size_t>(k) * rows];
    double norm = 0.0;
    for (int i = k; i < rows; ++i) norm += ck[i] * ck[i];
    norm = std::sqrt(norm);
    if (norm == 0.0) continue;
    const double alpha = ck[k] > 0 ? -norm : norm;
    for (int i = k; i < rows; ++i) v[i] = ck[i];
    v[k] -= alpha;
    double vv = 0.0;
    for (int i = k; i < rows; ++i) vv += v[i] * v[i];
    if (vv == 0.0) continue;
    const double scale = 2.0 / vv;
    auto reflect = [&](double* col) {
      double acc[4] = {0.0, 0.0, 0.0, 0.0};  // independent sums, so the dot product pipelines
      int i = k;
      for (; i + 4 <= rows; i += 4)
        for (int u = 0; u < 4; ++u) acc[u] += v[i + u] * col[i + u];
      for (; i < rows; ++i) acc[0] += v[i] * col[i];
      const double d = ((acc[0] + acc[1]) + (acc[2] + acc[3])) * scale;
      for (int i = k; i < rows; ++i) col[i] -= d * v[i];
    };
    for (int j = k; j < cols; ++j) reflect(&m[static_cast<std::size_t>(j) * rows]);
    reflect(b.data());
  }
  std::vector<double> a(cols, 0.0);
  for (int i = cols - 1; i >= 0; --i) {
    double sum = b[i];
    for (int j = i + 1; j < cols; ++j) sum -= m[static_cast<std::size_t>(j) * rows + i] * a[j];
    const double diag = m[static_cast<std::size_t>(i) * rows + i];
    a[i] = diag != 0.0 ? sum / diag : 0.0;
  }
  return a;
}

std::vector<GridPoint> BuildGrid(const Problem& pr, int nfcns, int density) {
  const std::size_t nb = pr.desired.size();
  const double delf = 0.5 / (static_cast<double>(density) * nfcns);
  std::vector<GridPoint> grid;
  grid.reserve(static_cast<std::size_t>(density) * nfcns + 4 * nb + 8);
  const bool singularAtZero = pr.type != rmtMultiband;
  for (std::size_t b = 0; b < nb; ++b) {
    const double d = pr.desired[b], w = pr.weight.empty() ? 1.0 : pr.weight[b];
    double f = pr.edge[2 * b];
    if (b == 0 && (pr.neg || singularAtZero) && f < delf) f = delf;
    const double fup = pr.edge[2 * b + 1];
    const std::size_t first = grid.size();
    do {
      GridPoint g{f, 0, 0, static_cast<int>(b)};
      Target(pr.type, d, w, f, g.des, g.wt);
      grid.push_back(g);
      f += delf;
    } while (f <= fup);
    GridPoint& last = grid.back();
    if (grid.size() - first > 1 || last.f < fup) {
      last.f = fup;
      Target(pr.type, d, w, fup, last.des, last.wt);
    }
  }
  if (pr.neg == pr.odd && grid.back().f > 0.5 - delf) grid.pop_back();
  for (GridPoint& g : grid) {
    const double qf = pr.q(g.f);
    g.des /= qf;
    g.wt *= qf;
    if (!std::isfinite(g.des) || !std::isfinite(g.wt))
      Fail("Parks-McClellan target is not finite on the grid (check the band edges)");
  }
  return grid;
}

// Initial alternation set on `grid` from the set of a smaller design (reference scaling):
// each band keeps its share of points, spread like the smaller design's points.
std::vector<int> ScaleReference(const Solution& small, const std::vector<GridPoint>& grid,
                                int count, std::size_t nb) {
  const int smallCount = static_cast<int>(small.extremal.size());
  std::vector<std::vector<double>> perBand(nb);
  for (int i = 0; i < smallCount; ++i) perBand[small.extremalBand[i]].push_back(small.extremal[i]);
  std::vector<int> want(nb);
  int total = 0;
  std::size_t biggest = 0;
  for (std::size_t b = 0; b < nb; ++b) {
    want[b] = static_cast<int>(std::lround(static_cast<double>(perBand[b].size()) * count / smallCount));
    total += want[b];
    if (perBand[b].size() > perBand[biggest].size()) biggest = b;
  }
  want[biggest] += count - total;
  std::vector<int> ext;
  ext.reserve(count);
  for (std::size_t b = 0; b < nb; ++b) {
    const auto& f = perBand[b];
    auto lo = std::find_if(grid.begin(), grid.end(), [&](const GridPoint& g) { return g.band == static_cast<int>(b); });
    auto hi = std::find_if(lo, grid.end(), [&](const GridPoint& g) { return g.band != static_cast<int>(b); });
    for (int i = 0; i < want[b]; ++i) {
      double target;
      if (f.size() >= 2 && want[b] >= 2) {
        const double t = static_cast<double>(i) * (f.size() - 1) / (want[b] - 1);
        const std::size_t j = std::min(static_cast<std::size_t>(t), f.size() - 2);
        target = f[j] + (t - j) * (f[j + 1] - f[j]);
      } else {
        target = lo->f + (want[b] >= 2 ? static_cast<double>(i) / (want[b] - 1) : 0.5) *
                             ((hi - 1)->f - lo->f);
      }
      auto it = std::lower_bound(lo, hi, target, [](const GridPoint& g, double v) { return g.f < v; });
      if (it == hi) --it;
      if (it != lo && target - (it - 1)->f < it->f - target) --it;
      ext.push_back(static_cast<int>(it - grid.begin()));
    }
  }
  const int ngrid = static_cast<int>(grid.size());
  for (int i = 1; i < count; ++i) ext[i] = std::max(ext[i], ext[i - 1] + 1);
  if (ext.back() > ngrid - 1) ext.back() = ngrid - 1;
  for (int i = count - 2; i >= 0; --i) ext[i] = std::min(ext[i], ext[i + 1] - 1);
  return ext;
}

// Remez exchange for a cosine polynomial with nfcns terms; nfcns + 1 alternation points, on
// a grid of `density` points per extremal frequency. `gapTol`: stop once the largest error
// exceeds the levelled one by at most this fraction (a seed for a larger design needs no
// more than a rough optimum).
Solution Solve(const Problem& pr, int nfcns, int density, double gapTol = 1e-13) {
  const std::vector<GridPoint> grid = BuildGrid(pr, nfcns, density);
  const int ngrid = static_cast<int>(grid.size());
  const int r = nfcns;
  if (ngrid < r + 1)
    Fail("Parks-McClellan grid too coarse: " + std::to_string(ngrid) + " points for " +
         std::to_string(r + 1) + " extremal frequencies");
  std::vector<double> gx(ngrid);
  for (int i = 0; i < ngrid; ++i) gx[i] = std::cos(2.0 * kPi * grid[i].f);

  // A large design starts from the optimum of one half its size (reference scaling): started
  // from equispaced points, the first levelled error of a long filter lies below rounding and
  // the exchange cannot find its way.
  // A seed that fails (too few terms for the bands, say) leaves the plain start.
  std::vector<int> ext(r + 1);
  constexpr int kDirect = 16;
  bool seeded = false;
  if (r > kDirect) {
    try {
      ext = ScaleReference(Solve(pr, r / 2, density, 0.02), grid, r + 1, pr.desired.size());
      seeded = true;
    } catch (const ERemezConvergenceError&) {
    }
  }
  if (!seeded)
    for (int k = 0; k <= r; ++k)
      ext[k] = static_cast<int>(static_cast<long long>(k) * (ngrid - 1) / r);

  Solution sol;
  Barycentric& poly = sol.poly;
  std::vector<double> a(ngrid), err(ngrid);
  std::vector<int> cand;
  double delta = 0.0;
  bool converged = false, local = false;
  for (int iter = 0; iter < pr.maxIterations && !converged; ++iter) {
    poly.x.resize(r + 1);
    poly.y.resize(r + 1);
    for (int k = 0; k <= r; ++k) poly.x[k] = gx[ext[k]];
    poly.Weights();
    long double num = 0.0L, den = 0.0L;
    for (int k = 0; k <= r; ++k) {
      const GridPoint& g = grid[ext[k]];
      num += static_cast<long double>(poly.w[k]) * g.des;
      den += static_cast<long double>(poly.w[k]) * (k % 2 ? -1.0L : 1.0L) / g.wt;
    }
    delta = static_cast<double>(num / den);
    if (!std::isfinite(delta) || den == 0.0L)
      throw ERemezConvergenceError("Parks-McClellan exchange broke down (degenerate extremal set)");
    for (int k = 0; k <= r; ++k) {
      const GridPoint& g = grid[ext[k]];
      poly.y[k] = g.des - (k % 2 ? -delta : delta) / g.wt;
    }
    // Near the optimum each extremum moves by a grid point or two: search only from the
    // current extremal points uphill, and let a full scan confirm the result.
    if (local) {
      cand.clear();
      auto errAt = [&](int i) { return grid[i].wt * (grid[i].des - poly(gx[i])); };
      for (int k = 0; k <= r && local; ++k) {
        const double s = (k % 2 ? -delta : delta) >= 0.0 ? 1.0 : -1.0;
        int cur = ext[k];
        double best = s * (k % 2 ? -delta : delta);
        err[cur] = k % 2 ? -delta : delta;
        for (int dir : {-1, 1}) {
          int i = cur;
          for (int step = 0; step < density; ++step) {
            const int j = i + dir;
            if (j < 0 || j >= ngrid || grid[j].band != grid[cur].band) break;
            if (!cand.empty() && j <= cand.back()) break;
            const double e = errAt(j);
            if (!(s * e > best)) break;
            best = s * e;
            err[j] = e;
            i = j;
          }
          if (i != cur) {
            cur = i;
            break;
          }
        }
        cand.push_back(cur);
      }
      double emax = 0.0;
      for (int c : cand) emax = std::max(emax, std::abs(err[c]));
      bool ordered = true;
      for (int k = 1; k <= r; ++k) ordered = ordered && cand[k] > cand[k - 1];
      if (ordered) {
        const bool same = std::equal(cand.begin(), cand.end(), ext.begin());
        std::copy(cand.begin(), cand.end(), ext.begin());
        if (same || emax - std::abs(delta) <= gapTol * emax) local = false;  // confirm by a scan
        continue;
      }
      local = false;  // fall through to a full scan of this iteration
    }

    poly.Evaluate(gx.data(), a.data(), gx.size());
    for (int i = 0; i < ngrid; ++i) err[i] = grid[i].wt * (grid[i].des - a[i]);
    for (int k = 0; k <= r; ++k) err[ext[k]] = k % 2 ? -delta : delta;

    // Candidates: the largest |error| of every run of one sign inside a band, kept when it
    // reaches the level of the current extremal set.
    const double level = std::abs(delta) * (1.0 - 1e-12);
    cand.clear();
    for (int i = 0; i < ngrid;) {
      int best = i;
      int j = i;
      const bool pos = err[i] >= 0.0;
      while (j < ngrid && grid[j].band == grid[i].band && (err[j] >= 0.0) == pos) {
        if (std::abs(err[j]) > std::abs(err[best])) best = j;
        ++j;
      }
      if (std::abs(err[best]) >= level) {
        if (!cand.empty() && (err[cand.back()] >= 0.0) == pos) {
          if (std::abs(err[best]) > std::abs(err[cand.back()])) cand.back() = best;
        } else {
          cand.push_back(best);
        }
      }
      i = j;
    }
    if (static_cast<int>(cand.size()) < r + 1)
      throw ERemezConvergenceError(
          "Parks-McClellan exchange lost alternation (" + std::to_string(cand.size()) +
          " of " + std::to_string(r + 1) + " extremal frequencies)");
    while (static_cast<int>(cand.size()) > r + 1) {
      const std::size_t n = cand.size();
      std::size_t m = 0;
      for (std::size_t i = 1; i < n; ++i)
        if (std::abs(err[cand[i]]) < std::abs(err[cand[m]])) m = i;
      if (n - (r + 1) == 1 || m == 0 || m == n - 1) {
        if (n - (r + 1) == 1)
          m = std::abs(err[cand.front()]) < std::abs(err[cand.back()]) ? 0 : n - 1;
        cand.erase(cand.begin() + static_cast<std::ptrdiff_t>(m));
      } else {
        const std::size_t other =
            std::abs(err[cand[m - 1]]) < std::abs(err[cand[m + 1]]) ? m - 1 : m + 1;
        cand.erase(cand.begin() + static_cast<std::ptrdiff_t>(std::max(m, other)));
        cand.erase(cand.begin() + static_cast<std::ptrdiff_t>(std::min(m, other)));
      }
    }
    double emax = 0.0;
    for (int c : cand) emax = std::max(emax, std::abs(err[c]));
    converged = std::equal(cand.begin(), cand.end(), ext.begin()) ||
                emax - std::abs(delta) <= gapTol * emax;
    int moved = 0;
    for (int k = 0; k <= r; ++k) moved = std::max(moved, std::abs(cand[k] - ext[k]));
    local = !converged && moved <= density / 2 && emax - std::abs(delta) <= 0.1 * emax;
    std::copy(cand.begin(), cand.end(), ext.begin());
  }
  if (!converged)
    throw ERemezConvergenceError("Parks-McClellan design did not converge in " +
                                 std::to_string(pr.maxIterations) + " iterations");
  sol.delta = delta;
  sol.xlo = *std::min_element(gx.begin(), gx.end());
  sol.xhi = *std::max_element(gx.begin(), gx.end());
  for (int k = 0; k <= r; ++k) {
    sol.extremalPoints.push_back(grid[ext[k]]);
    sol.extremal.push_back(grid[ext[k]].f);
    sol.extremalBand.push_back(grid[ext[k]].band);
  }
  return sol;
}

}  // namespace

std::vector<double> remez(int NumTaps, std::span<const double> Bands,
                          std::span<const double> Desired, std::span<const double> Weight,
                          TRemezType Type, double Fs, int GridDensity, int MaxIterations) {
  if (NumTaps < 3 || NumTaps > 10000)
    Fail("Parks-McClellan length must be in 3 .. 10000, got " + std::to_string(NumTaps));
  if (Bands.size() < 2 || Bands.size() % 2)
    Fail("Parks-McClellan bands need an even number of edges, got " +
         std::to_string(Bands.size()));
  const std::size_t nb = Bands.size() / 2;
  if (Desired.size() != nb)
    Fail("Parks-McClellan needs one desired value per band: " + std::to_string(nb) +
         " bands, " + std::to_string(Desired.size()) + " values");
  if (!Weight.empty() && Weight.size() != nb)
    Fail("Parks-McClellan needs one weight per band: " + std::to_string(nb) + " bands, " +
         std::to_string(Weight.size()) + " weights");
  if (!(Fs > 0.0)) Fail("Sampling frequency must be > 0");
  if (GridDensity < 1) Fail("Grid density must be at least 1");
  if (MaxIterations < 1) Fail("Iteration limit must be at least 1");
  std::vector<double> edge(Bands.size());
  for (std::size_t i = 0; i < Bands.size(); ++i) {
    edge[i] = Bands[i] / Fs;
    if (!(edge[i] >= 0.0 && edge[i] <= 0.5))
      Fail("Band edge " + std::to_string(Bands[i]) + " outside 0 .. Fs/2");
    if (i > 0 && edge[i] < edge[i - 1]) Fail("Band edges must not decrease");
  }
  for (std::size_t b = 0; b < nb; ++b) {
    if (!Weight.empty() && !(Weight[b] > 0.0)) Fail("Band weights must be > 0");
    if (b > 0 && !(edge[2 * b] > edge[2 * b - 1])) Fail("Bands must not touch or overlap");
  }

  const bool neg =
      Type == rmtDifferentiator || Type == rmtIntegrator || Type == rmtHilbert;
  const bool odd = NumTaps % 2 == 1;
  if (!neg && !odd && edge.back() == 0.5 && Type == rmtMultiband && Desired.back() != 0.0)
    Fail("An even-length symmetric filter is zero at the Nyquist frequency; use an odd length");
  if ((Type == rmtIntegrator || Type == rmtDoubleIntegrator) && edge[0] == 0.0)
    Fail("Integrator bands must start above 0 Hz");

  // Nothing to approximate: the optimum is exactly zero (and the exchange would find no
  // alternation in an error that is zero everywhere).
  if (std::all_of(Desired.begin(), Desired.end(), [](double d) { return d == 0.0; }))
    return std::vector<double>(NumTaps, 0.0);

  int nfcns = NumTaps / 2;
  if (odd && !neg) ++nfcns;

  // Removes the fixed factor Q(f) so the rest is a cosine polynomial in x = cos(2 pi f).
  auto q = [&](double f) {
    if (!neg) return odd ? 1.0 : std::cos(kPi * f);
    return odd ? std::sin(2.0 * kPi * f) : std::sin(kPi * f);
  };
  Problem problem{Type, neg, odd, edge, Desired, Weight, GridDensity, MaxIterations, q};
  const Solution sol = Solve(problem, nfcns, GridDensity);
  const Barycentric& poly = sol.poly;

  // The taps come from the response at N frequencies over the whole circle. In free regions
  // (wide gaps between bands, or beyond the outer band edges) the interpolating polynomial
  // magnifies rounding in its node values by the Lebesgue function, and taps built from such
  // values miss the bands once that loss nears the ripple. Then the cosine coefficients of the polynomial are fitted to its
  // nodes instead (a backward-stable least-squares solve keeps the fit exact at the nodes,
  // and so in the bands, whatever it does in the free regions) and the response is summed
  // from them.
  const int r = nfcns;
  const int n = NumTaps;
  double worstGrowth = 1.0;
  for (int m = 0; m < n; ++m)
    worstGrowth = std::max(worstGrowth, poly.Lebesgue(std::cos(2.0 * kPi * m / n)));
  std::vector<double> cosCoef;
  constexpr int kMaxFit = 1500;  // O(r^3): beyond this the direct evaluation is used
  double ymax = 0.0;
  for (double y : poly.y) ymax = std::max(ymax, std::abs(y));
  const double roundingLoss = std::numeric_limits<double>::epsilon() * worstGrowth * ymax;
  if (roundingLoss > 1e-3 * std::abs(sol.delta) && r <= kMaxFit) {
    const int rows = r + 1;
    std::vector<double> vm(static_cast<std::size_t>(rows) * r), rhs(rows);
    for (int j = 0; j < rows; ++j) {
      const double xj = poly.x[j];
      rhs[j] = poly.y[j];
      double t0 = 1.0, t1 = xj;  // Chebyshev polynomials T_k(xj)
      for (int k = 0; k < r; ++k) {
        vm[static_cast<std::size_t>(k) * rows + j] = k == 0 ? 1.0 : t1;
        if (k > 0) {
          const double t2 = 2.0 * xj * t1 - t0;
          t0 = t1;
          t1 = t2;
        }
      }
    }
    cosCoef = SolveQr(std::move(vm), std::move(rhs), rows, r);
  }
  std::vector<double> cosN(n);  // cos(2 pi j / n)
  for (int j = 0; j < n; ++j)
    cosN[j] = static_cast<double>(std::cos(2.0L * std::numbers::pi_v<long double> * j / n));
  auto amplitude = [&](int m) {  // at f = m / n
    if (cosCoef.empty()) return poly.FirstForm(cosN[m]);
    double sum = 0.0;
    long long j = 0;
    for (int k = 0; k < r; ++k) {
      sum += cosCoef[k] * cosN[j];
      j += m;
      if (j >= n) j -= n;
    }
    return sum;
  };

  // Impulse response from N samples of the full response by an inverse DFT.
  const double c = 0.5 * (n - 1);
  std::vector<std::complex<double>> spec(n);
  for (int m = 0; m < n; ++m) {
    const double f = static_cast<double>(m) / n;
    const double amp = q(f) * amplitude(m);
    const std::complex<double> rot = std::polar(1.0, -2.0 * kPi * f * c);
    spec[m] = neg ? std::complex<double>(0.0, amp) * rot : amp * rot;
  }
  std::vector<double> cosTab(n), sinTab(n);
  for (int j = 0; j < n; ++j) {
    const long double ph = 2.0L * std::numbers::pi_v<long double> * j / n;
    cosTab[j] = static_cast<double>(std::cos(ph));
    sinTab[j] = static_cast<double>(std::sin(ph));
  }
  std::vector<double> h(n);
  for (int k = 0; k < n; ++k) {
    double s = 0.0;
    int j = 0;  // (m k) mod n
    for (int m = 0; m < n; ++m) {
      s += spec[m].real() * cosTab[j] - spec[m].imag() * sinTab[j];
      j += k;
      if (j >= n) j -= n;
    }
    h[k] = s / n;
  }
  // Exact symmetry, so the phase is exactly linear.
  for (int k = 0; k < n / 2; ++k) {
    const double a = neg ? 0.5 * (h[k] - h[n - 1 - k]) : 0.5 * (h[k] + h[n - 1 - k]);
    h[k] = a;
    h[n - 1 - k] = neg ? -a : a;
  }
  if (neg && odd) h[n / 2] = 0.0;

  // The taps must reproduce the levelled error at the extremal frequencies (within 5%). When
  // the free regions let the optimal polynomial grow huge (wide transition bands, an
  // integrator band far from Nyquist), rounding in the taps swamps the in-band response:
  // report that instead of returning it.
  // Below 1e-8 of the largest target the taps are as good as double precision allows (the
  // interpolation of a near-exact optimum is itself that accurate): no report there.
  double targetMax = 0.0;
  for (const GridPoint& g : sol.extremalPoints) targetMax = std::max(targetMax, std::abs(g.des * q(g.f)));
  for (const GridPoint& g : sol.extremalPoints) {
    // Sum of h[k] e^{j 2 pi f (k - c)} with a rotating phasor.
    const std::complex<double> step = std::polar(1.0, 2.0 * kPi * g.f);
    std::complex<double> z = std::polar(1.0, -2.0 * kPi * g.f * c), acc = 0.0;
    for (int k = 0; k < n; ++k) {
      acc += h[k] * z;
      z *= step;
    }
    const double hr = neg ? -acc.imag() : acc.real();
    const double e = g.wt * (g.des - hr / q(g.f));
    const double tol = 0.05 * std::abs(sol.delta) + 1e-8 * targetMax * std::abs(g.wt / q(g.f));
    if (!(std::abs(e) <= std::abs(sol.delta) + tol))
      throw ERemezConvergenceError(
          "Parks-McClellan design is numerically unreliable: the taps miss the optimum by " +
          std::to_string(std::abs(e) / std::abs(sol.delta)) + " times the ripple");
  }
  return h;
}

int RemezLength(std::span<const double> Bands, std::span<const double> Deviations, double Fs) {
  if (Bands.size() < 4 || Bands.size() % 2)
    Fail("Length estimate needs at least two bands (an even number of edges)");
  const std::size_t nb = Bands.size() / 2;
  if (Deviations.size() != nb)
    Fail("Length estimate needs one deviation per band: " + std::to_string(nb) + " bands, " +
         std::to_string(Deviations.size()) + " deviations");
  if (!(Fs > 0.0)) Fail("Sampling frequency must be > 0");
  for (double d : Deviations)
    if (!(d > 0.0 && d < 1.0)) Fail("Deviations must be in (0, 1), got " + std::to_string(d));
  double best = 1.0;
  for (std::size_t b = 0; b + 1 < nb; ++b) {
    const double df = (Bands[2 * b + 2] - Bands[2 * b + 1]) / Fs;
    if (!(df > 0.0)) Fail("Transition widths must be > 0");
    const double lp = std::log10(std::max(Deviations[b], Deviations[b + 1]));
    const double ls = std::log10(std::min(Deviations[b], Deviations[b + 1]));
    const double dinf = (5.309e-3 * lp * lp + 7.114e-2 * lp - 0.4761) * ls -
                        (2.66e-3 * lp * lp + 0.5941 * lp + 0.4278);
    const double f = 11.01217 + 0.51244 * (lp - ls);
    best = std::max(best, dinf / df - f * df + 1.0);
  }
  return static_cast<int>(std::ceil(best));
}

std::vector<double> RemezImpulse(int Length, double PassEdge, int GridDensity) {
  if (Length < 3 || Length > 10000 || Length % 4 != 3)
    Fail("Half-band length must be 3 .. 10000 with length mod 4 = 3, got " +
         std::to_string(Length));
  if (!(PassEdge > 0.0 && PassEdge < 0.5))
    Fail("Half-band pass edge must be in (0, 0.5), got " + std::to_string(PassEdge));
  const int half = (Length + 1) / 2;
  const double bands[] = {0.0, PassEdge};
  const double desired[] = {1.0};
  // Two taps (one cosine term) cannot be refined by an exchange: the answer is g = {1/2, 1/2}.
  std::vector<double> g = half == 2 ? std::vector<double>{0.5, 0.5}
                                    : remez(half, bands, desired, {}, rmtMultiband, 1.0,
                                            GridDensity);
  std::vector<double> h(Length, 0.0);
  for (int i = 0; i < half; ++i) h[2 * i] = 0.5 * g[i];
  h[(Length - 1) / 2] = 0.5;
  return h;
}

}  // namespace sigflow
