#include "sigflow/numeric/Vec.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Fft.h"

namespace sigflow {
namespace {
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Element-wise kernel over distinct arrays. GCC's -O2 cost model vectorises only loops whose
// trip count is a known multiple of the vector width, so the body runs in fixed blocks of 8
// (straight-line code the SLP vectoriser packs) with a scalar tail.
template <class Op>
inline void Each(double* __restrict d, const double* __restrict s, std::size_t n, Op op) {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    double* __restrict db = d + i;
    const double* __restrict sb = s + i;
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k) op(db[k], sb[k]);
  }
  for (; i < n; ++i) op(d[i], s[i]);
}

template <class Op>
inline void Each(double* __restrict d, std::size_t n, Op op) {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    double* __restrict db = d + i;
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k) op(db[k]);
  }
  for (; i < n; ++i) op(d[i]);
}
}  // namespace

TVec::TVec(int length, bool complex) {
  if (length < 0) throw Exception("TVec: negative length");
  complex_ = complex;
  length_ = length;
  data_.resize(StorageSize());
}

TVec::TVec(const TVec& src) : data_(src.data_.begin(), src.data_.begin() + std::ptrdiff_t(src.StorageSize())),
                              length_(src.length_), complex_(src.complex_), rand_(src.rand_) {}

TVec& TVec::operator=(const TVec& src) {
  if (this != &src) {
    Copy(src);
    rand_ = src.rand_;
  }
  return *this;
}

TVec::TVec(TVec&& src) noexcept
    : data_(std::move(src.data_)), length_(src.length_), complex_(src.complex_), rand_(src.rand_) {
  src.length_ = 0;
}

TVec& TVec::operator=(TVec&& src) noexcept {
  if (this != &src) {
    const int old = length_;
    data_ = std::move(src.data_);
    length_ = src.length_;
    complex_ = src.complex_;
    rand_ = src.rand_;
    src.length_ = 0;
    src.data_.clear();
    if (old != length_ && onSetLength_) onSetLength_(this);
  }
  return *this;
}

// ---- shape ------------------------------------------------------------------------------

void TVec::FireLength(int oldLength) {
  if (oldLength != length_ && onSetLength_) onSetLength_(this);
}

void TVec::Reshape(int length, bool complex) {
  if (length < 0) throw Exception("TVec: negative length");
  const int old = length_;
  data_.resize(std::size_t(length) * (complex ? 2 : 1));
  length_ = length;
  complex_ = complex;
  FireLength(old);
}

void TVec::SetLength(int length) {
  if (length == length_) return;
  if (length < 0) throw Exception("TVec: negative length");
  const std::size_t keep = std::min(StorageSize(), std::size_t(length) * (complex_ ? 2 : 1));
  data_.resize(keep);  // drops the tail, so growing below zero-fills
  Reshape(length, complex_);
}

void TVec::SetComplex(bool complex) {
  if (complex == complex_) return;
  const std::size_t n = std::size_t(length_);
  if (complex) {
    data_.resize(2 * n);
    double* d = data_.data();
    for (std::size_t i = n; i-- > 0;) {
      d[2 * i] = d[i];
      d[2 * i + 1] = 0.0;
    }
  } else {
    double* d = data_.data();
    for (std::size_t i = 0; i < n; ++i) d[i] = d[2 * i];
    data_.resize(n);
  }
  complex_ = complex;
}

void TVec::Size(const TVec& src) { Size(src.length_, src.complex_); }

void TVec::Size(int length, bool complex) { Reshape(length, complex); }

int TVec::Capacity() const noexcept { return int(data_.capacity() / (complex_ ? 2 : 1)); }

void TVec::CheckSameLength(const TVec& y) const {
  if (y.length_ != length_)
    throw Exception("TVec: lengths differ (" + std::to_string(length_) + " <> " + std::to_string(y.length_) + ")");
}

void TVec::CheckRange(int index, int len) const {
  if (index < 0 || len < 0 || index > length_ - len) throw Exception("TVec: range out of bounds");
}

// ---- copy -------------------------------------------------------------------------------

void TVec::Copy(const TVec& src) {
  if (&src == this) return;
  Reshape(src.length_, src.complex_);
  std::copy_n(src.data_.data(), StorageSize(), data_.data());
}

void TVec::Copy(const TVec& src, int srcIndex, int dstIndex, int len) {
  src.CheckRange(srcIndex, len);
  CheckRange(dstIndex, len);
  if (src.complex_ && !complex_) throw Exception("TVec: complex source for a real vector");
  if (src.complex_ == complex_) {
    const int w = complex_ ? 2 : 1;
    std::copy_n(src.data_.data() + std::size_t(srcIndex) * w, std::size_t(len) * w,
                data_.data() + std::size_t(dstIndex) * w);
    return;
  }
  TCplx* d = CData() + dstIndex;
  const double* s = src.data_.data() + srcIndex;
  for (int i = 0; i < len; ++i) d[i] = TCplx(s[i], 0.0);
}

void TVec::RealPart(const TVec& src) {
  if (!src.complex_) {
    Copy(src);
    return;
  }
  const int n = src.length_;
  if (&src == this) {
    SetComplex(false);
    return;
  }
  Reshape(n, false);
  const double* s = src.data_.data();
  for (int i = 0; i < n; ++i) data_[std::size_t(i)] = s[2 * i];
}

void TVec::ImagPart(const TVec& src) {
  const int n = src.length_;
  if (!src.complex_) {
    Reshape(n, false);
    SetZero();
    return;
  }
  // Reading ahead of writing keeps this safe when src is this vector.
  double* d = data_.data();
  const double* s = src.data_.data();
  if (&src == this) {
    for (int i = 0; i < n; ++i) d[i] = d[2 * i + 1];
    data_.resize(std::size_t(n));
    complex_ = false;
    return;
  }
  Reshape(n, false);
  d = data_.data();
  for (int i = 0; i < n; ++i) d[i] = s[2 * i + 1];
}

// ---- element-wise -----------------------------------------------------------------------

void TVec::SetZero() { std::fill(data_.begin(), data_.end(), 0.0); }

void TVec::SetZero(int index, int len) {
  CheckRange(index, len);
  const int w = complex_ ? 2 : 1;
  std::fill_n(data_.data() + std::size_t(index) * w, std::size_t(len) * w, 0.0);
}

void TVec::SetVal(double x) {
  if (!complex_) {
    std::fill(data_.begin(), data_.end(), x);
    return;
  }
  TCplx* d = CData();
  for (int i = 0; i < length_; ++i) d[i] = TCplx(x, 0.0);
}

void TVec::Scale(double factor) {
  Each(data_.data(), StorageSize(), [factor](double& x) { x *= factor; });
}

void TVec::Scale(TCplx factor) {
  if (factor.imag() == 0.0) {
    Scale(factor.real());
    return;
  }
  SetComplex(true);
  double* d = data_.data();
  const double fr = factor.real(), fi = factor.imag();
  for (int i = 0; i < length_; ++i) {
    const double re = d[2 * i], im = d[2 * i + 1];
    d[2 * i] = re * fr - im * fi;
    d[2 * i + 1] = re * fi + im * fr;
  }
}

void TVec::Add(const TVec& y) {
  CheckSameLength(y);
  if (y.complex_) SetComplex(true);
  double* d = data_.data();
  const double* s = y.data_.data();
  const std::size_t n = std::size_t(length_);
  if (&y == this) {
    Scale(2.0);
  } else if (complex_ == y.complex_) {
    Each(d, s, StorageSize(), [](double& a, double b) { a += b; });
  } else {
    for (std::size_t i = 0; i < n; ++i) d[2 * i] += s[i];
  }
}

void TVec::Add(double c) {
  double* d = data_.data();
  if (!complex_) {
    Each(d, StorageSize(), [c](double& x) { x += c; });
  } else {
    for (int i = 0; i < length_; ++i) d[2 * i] += c;
  }
}

void TVec::Sub(const TVec& y) {
  CheckSameLength(y);
  if (y.complex_) SetComplex(true);
  double* d = data_.data();
  const double* s = y.data_.data();
  const std::size_t n = std::size_t(length_);
  if (&y == this) {
    SetZero();
  } else if (complex_ == y.complex_) {
    Each(d, s, StorageSize(), [](double& a, double b) { a -= b; });
  } else {
    for (std::size_t i = 0; i < n; ++i) d[2 * i] -= s[i];
  }
}

void TVec::Sub(double c) { Add(-c); }

void TVec::Mul(const TVec& y) {
  CheckSameLength(y);
  if (&y == this) {
    Sqr();
    return;
  }
  if (y.complex_) SetComplex(true);
  double* d = data_.data();
  const double* s = y.data_.data();
  const std::size_t n = std::size_t(length_);
  if (!complex_) {
    Each(d, s, n, [](double& a, double b) { a *= b; });
  } else if (!y.complex_) {
    for (std::size_t i = 0; i < n; ++i) {
      d[2 * i] *= s[i];
      d[2 * i + 1] *= s[i];
    }
  } else {
    // Plain formula: std::complex's operator* adds NaN/inf recovery that blocks vectorising.
    for (std::size_t i = 0; i < n; ++i) {
      const double a = d[2 * i], b = d[2 * i + 1], c = s[2 * i], e = s[2 * i + 1];
      d[2 * i] = a * c - b * e;
      d[2 * i + 1] = a * e + b * c;
    }
  }
}

void TVec::Divide(const TVec& y) {
  CheckSameLength(y);
  if (&y == this) {
    TVec copy(y);
    Divide(copy);
    return;
  }
  if (y.complex_) SetComplex(true);
  double* d = data_.data();
  const double* s = y.data_.data();
  const std::size_t n = std::size_t(length_);
  if (!complex_) {
    Each(d, s, n, [](double& a, double b) { a /= b; });
  } else if (!y.complex_) {
    for (std::size_t i = 0; i < n; ++i) {
      d[2 * i] /= s[i];
      d[2 * i + 1] /= s[i];
    }
  } else {
    TCplx* z = CData();
    const TCplx* w = y.CData();
    for (std::size_t i = 0; i < n; ++i) z[i] /= w[i];
  }
}

void TVec::Conj() {
  if (!complex_) return;
  double* d = data_.data();
  for (int i = 0; i < length_; ++i) d[2 * i + 1] = -d[2 * i + 1];
}

void TVec::ConjMul(const TVec& y) {
  CheckSameLength(y);
  if (&y == this) {
    TVec copy(y);
    ConjMul(copy);
    return;
  }
  if (!y.complex_) {
    Mul(y);
    return;
  }
  SetComplex(true);
  double* d = data_.data();
  const double* s = y.data_.data();
  for (int i = 0; i < length_; ++i) {
    const double a = d[2 * i], b = d[2 * i + 1], c = s[2 * i], e = -s[2 * i + 1];
    d[2 * i] = a * c - b * e;
    d[2 * i + 1] = a * e + b * c;
  }
}

void TVec::Mag() {
  double* d = data_.data();
  if (!complex_) {
    for (int i = 0; i < length_; ++i) d[i] = std::fabs(d[i]);
    return;
  }
  for (int i = 0; i < length_; ++i) d[i] = std::hypot(d[2 * i], d[2 * i + 1]);
  data_.resize(std::size_t(length_));
  complex_ = false;
}

void TVec::Ln() {
  if (!complex_) {
    for (double& x : data_) x = std::log(x);
    return;
  }
  for (TCplx& z : CSpan()) z = std::log(z);
}

void TVec::Inv() {
  if (!complex_) {
    for (double& x : data_) x = 1.0 / x;
    return;
  }
  for (TCplx& z : CSpan()) z = 1.0 / z;
}

void TVec::Sqr() {
  if (!complex_) {
    for (double& x : data_) x *= x;
    return;
  }
  double* d = data_.data();
  for (int i = 0; i < length_; ++i) {
    const double a = d[2 * i], b = d[2 * i + 1];
    d[2 * i] = a * a - b * b;
    d[2 * i + 1] = 2.0 * a * b;
  }
}

void TVec::Sqrt() {
  if (!complex_) {
    for (double& x : data_) x = std::sqrt(x);
    return;
  }
  for (TCplx& z : CSpan()) z = std::sqrt(z);
}

void TVec::Power(double exponent) {
  if (!complex_) {
    for (double& x : data_) x = std::pow(x, exponent);
    return;
  }
  for (TCplx& z : CSpan()) z = std::pow(z, exponent);
}

void TVec::Rotate(int offset) {
  if (length_ == 0) return;
  int k = offset % length_;
  if (k < 0) k += length_;
  if (k == 0) return;
  const int w = complex_ ? 2 : 1;
  std::rotate(data_.begin(), data_.begin() + std::ptrdiff_t(k) * w, data_.begin() + std::ptrdiff_t(StorageSize()));
}

void TVec::DownSample(int factor, int phase) { DownSample(*this, factor, phase); }

void TVec::DownSample(const TVec& src, int factor, int phase) {
  if (factor < 1 || phase < 0) throw Exception("TVec: DownSample needs factor >= 1 and phase >= 0");
  const int n = phase >= src.length_ ? 0 : (src.length_ - phase + factor - 1) / factor;
  const bool c = src.complex_;
  if (&src == this) {
    // The write index never passes the read index, so in place is safe.
    if (c) {
      TCplx* d = CData();
      for (int k = 0; k < n; ++k) d[k] = d[phase + k * factor];
    } else {
      double* d = data_.data();
      for (int k = 0; k < n; ++k) d[k] = d[phase + k * factor];
    }
    data_.resize(std::size_t(n) * (c ? 2 : 1));
    Reshape(n, c);
    return;
  }
  Reshape(n, c);
  if (c) {
    for (int k = 0; k < n; ++k) CData()[k] = src.CData()[phase + k * factor];
  } else {
    for (int k = 0; k < n; ++k) data_[std::size_t(k)] = src.data_[std::size_t(phase + k * factor)];
  }
}

void TVec::RemoveDC(int index, int len) {
  CheckRange(index, len);
  if (len == 0) return;
  if (!complex_) {
    double* d = data_.data() + index;
    double s = 0.0;
    for (int i = 0; i < len; ++i) s += d[i];
    const double m = s / len;
    for (int i = 0; i < len; ++i) d[i] -= m;
    return;
  }
  TCplx* d = CData() + index;
  TCplx s = 0.0;
  for (int i = 0; i < len; ++i) s += d[i];
  const TCplx m = s / double(len);
  for (int i = 0; i < len; ++i) d[i] -= m;
}

void TVec::Replace(double oldValue, double newValue, double tolerance) {
  for (double& x : data_)
    if (std::fabs(x - oldValue) <= tolerance) x = newValue;
}

void TVec::ThreshBottom(double limit) {
  for (double& x : data_)
    if (x < limit) x = limit;
}

void TVec::ThreshTop(double limit) {
  for (double& x : data_)
    if (x > limit) x = limit;
}

void TVec::Reverse() {
  if (complex_) std::reverse(CData(), CData() + length_);
  else std::reverse(data_.begin(), data_.end());
}

// ---- transforms -------------------------------------------------------------------------

void TVec::FFT() {
  const int n = length_;
  if (complex_) {
    sigflow::FFT(CSpan(), CSpan());
    return;
  }
  // In-place real transform: the N reals become bins 0 .. N/2 in the same block (FFTW's
  // padded in-place layout), then the upper half follows from conjugate symmetry.
  data_.resize(std::size_t(std::max(2 * n, 2)));
  complex_ = true;
  if (n == 0) {
    data_.clear();
    return;
  }
  const std::size_t half = std::size_t(n / 2 + 1);
  sigflow::RealFFT(std::span<const double>(data_.data(), std::size_t(n)), std::span<TCplx>(CData(), half));
  TCplx* z = CData();
  for (int k = int(half); k < n; ++k) z[k] = std::conj(z[n - k]);
}

void TVec::FFT(TVec& dst) const {
  if (&dst == this) {
    dst.FFT();
    return;
  }
  if (!complex_) {
    dst.Copy(*this);
    dst.FFT();
    return;
  }
  dst.Reshape(length_, true);
  sigflow::FFT(CSpan(), dst.CSpan());
}

void TVec::IFFT() {
  SetComplex(true);
  sigflow::IFFT(CSpan(), CSpan());
}

void TVec::IFFT(TVec& dst) const {
  if (&dst == this) {
    dst.IFFT();
    return;
  }
  if (!complex_) {
    dst.Copy(*this);
    dst.IFFT();
    return;
  }
  dst.Reshape(length_, true);
  sigflow::IFFT(CSpan(), dst.CSpan());
}

void TVec::RealFFT(TVec& dst) const {
  if (complex_) throw Exception("TVec: RealFFT needs a real vector");
  if (&dst == this) throw Exception("TVec: RealFFT needs a separate destination");
  dst.Reshape(length_ == 0 ? 0 : length_ / 2 + 1, true);
  sigflow::RealFFT(Span(), dst.CSpan());
}

void TVec::RealIFFT(TVec& dst, int n) const {
  if (&dst == this) throw Exception("TVec: RealIFFT needs a separate destination");
  if (n < 0 || (n > 0 && length_ != n / 2 + 1) || (n == 0 && length_ > 1))
    throw Exception("RealIFFT: input size must be N/2+1");
  if (!complex_) {
    TVec c(*this);
    c.SetComplex(true);
    c.RealIFFT(dst, n);
    return;
  }
  dst.Reshape(n, false);
  if (n > 0) sigflow::RealIFFT(CSpan(), dst.Span());
}

// ---- statistics -------------------------------------------------------------------------

double TVec::Sum() const {
  if (complex_) return CSum().real();
  double s = 0.0;
  for (int i = 0; i < length_; ++i) s += data_[std::size_t(i)];
  return s;
}

TCplx TVec::CSum() const {
  if (!complex_) return {Sum(), 0.0};
  double re = 0.0, im = 0.0;
  for (int i = 0; i < length_; ++i) {
    re += data_[2 * std::size_t(i)];
    im += data_[2 * std::size_t(i) + 1];
  }
  return {re, im};
}

double TVec::Mean() const { return length_ == 0 ? kNaN : Sum() / length_; }

TCplx TVec::CMean() const { return length_ == 0 ? TCplx(kNaN, kNaN) : CSum() / double(length_); }

double TVec::StdDev() const {
  if (length_ == 0) return kNaN;
  if (length_ == 1) return 0.0;
  double s = 0.0;
  if (!complex_) {
    const double m = Mean();
    for (int i = 0; i < length_; ++i) {
      const double e = data_[std::size_t(i)] - m;
      s += e * e;
    }
  } else {
    const TCplx m = CMean();
    for (int i = 0; i < length_; ++i) s += std::norm(CData()[i] - m);
  }
  return std::sqrt(s / (length_ - 1));
}

namespace {
// Value used for ordering: the real value, or the magnitude of a complex one.
inline double OrderValue(const TVec& v, int i) {
  return v.Complex() ? std::abs(v.CData()[i]) : v.Data()[i];
}
}  // namespace

void TVec::MinMax(double& min, double& max, int& minIndex, int& maxIndex) const {
  if (length_ == 0) {
    min = max = kNaN;
    minIndex = maxIndex = -1;
    return;
  }
  minIndex = maxIndex = 0;
  min = max = OrderValue(*this, 0);
  for (int i = 1; i < length_; ++i) {
    const double x = OrderValue(*this, i);
    if (x < min) {
      min = x;
      minIndex = i;
    }
    if (x > max) {
      max = x;
      maxIndex = i;
    }
  }
}

void TVec::MinMax(double& min, double& max) const {
  int a, b;
  MinMax(min, max, a, b);
}

double TVec::Min() const {
  double a, b;
  MinMax(a, b);
  return a;
}

double TVec::Max() const {
  double a, b;
  MinMax(a, b);
  return b;
}

int TVec::MaxIndex() const {
  double a, b;
  int i, j;
  MinMax(a, b, i, j);
  return j;
}

double TVec::RMS() const {
  if (length_ == 0) return kNaN;
  double s = 0.0;
  const std::size_t m = StorageSize();
  for (std::size_t i = 0; i < m; ++i) s += data_[i] * data_[i];
  return std::sqrt(s / length_);
}

double TVec::Peak() const {
  if (length_ == 0) return kNaN;
  double p = 0.0;
  for (int i = 0; i < length_; ++i) p = std::max(p, std::fabs(OrderValue(*this, i)));
  return p;
}

double TVec::Crest() const { return Peak() / RMS(); }

int TVec::NearestMaximum(int index) const {
  if (length_ == 0) return -1;
  int i = std::clamp(index, 0, length_ - 1);
  for (;;) {
    const double x = OrderValue(*this, i);
    const double l = i > 0 ? OrderValue(*this, i - 1) : -std::numeric_limits<double>::infinity();
    const double r = i + 1 < length_ ? OrderValue(*this, i + 1) : -std::numeric_limits<double>::infinity();
    if (r > x && r >= l) ++i;
    else if (l > x) --i;
    else return i;
  }
}

int TVec::NearestMinimum(int index) const {
  if (length_ == 0) return -1;
  int i = std::clamp(index, 0, length_ - 1);
  for (;;) {
    const double x = OrderValue(*this, i);
    const double l = i > 0 ? OrderValue(*this, i - 1) : std::numeric_limits<double>::infinity();
    const double r = i + 1 < length_ ? OrderValue(*this, i + 1) : std::numeric_limits<double>::infinity();
    if (r < x && r <= l) ++i;
    else if (l < x) --i;
    else return i;
  }
}

}  // namespace sigflow
