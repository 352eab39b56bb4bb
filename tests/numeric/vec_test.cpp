#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Vec.h"
#include "support/alloc_counter.h"
#include "support/message.h"

using namespace sigflow;
using sigflow::test::AllocationScope;

namespace {

TVec Real(std::initializer_list<double> v) {
  TVec x(int(v.size()));
  int i = 0;
  for (double d : v) x.SetValues(i++, d);
  return x;
}

TVec Cplx(const std::vector<TCplx>& v) {
  TVec x(int(v.size()), true);
  for (std::size_t i = 0; i < v.size(); ++i) x.SetCValues(int(i), v[i]);
  return x;
}

void ExpectElements(const TVec& x, std::vector<TCplx> want, double tol = 1e-15) {
  ASSERT_EQ(x.Length(), int(want.size()));
  for (int i = 0; i < x.Length(); ++i)
    EXPECT_LE(std::abs(x.CValues(i) - want[std::size_t(i)]), tol) << "element " << i << " is " << x.CValues(i)
                                                                   << ", want " << want[std::size_t(i)];
}

}  // namespace

TEST(VecShape, ComplexFlagKeepsElementCountAndRealParts) {
  TVec x = Real({1, 2, 3});
  x.SetComplex(true);
  ASSERT_EQ(x.Length(), 3);
  ExpectElements(x, {{1, 0}, {2, 0}, {3, 0}});
  x.SetCValues(1, {5, 7});
  x.SetComplex(false);
  ASSERT_EQ(x.Length(), 3);
  EXPECT_FALSE(x.Complex());
  ExpectElements(x, {1, 5, 3});
  EXPECT_EQ(x.Span().size(), 3u);
}

TEST(VecShape, SetLengthKeepsHeadAndZeroFillsGrowthEvenAfterShrinking) {
  TVec x = Cplx({{1, 2}, {3, 4}, {5, 6}});
  x.SetLength(1);
  x.SetLength(3);  // storage still holds the old values: they must not reappear
  ExpectElements(x, {{1, 2}, 0, 0});
  x.Resize(4);
  ExpectElements(x, {{1, 2}, 0, 0, 0});
}

TEST(VecShape, OnSetLengthFiresOnEveryLengthChangeIncludingOperations) {
  TVec x(4);
  std::vector<int> seen;
  x.SetOnSetLength([&](TObject* sender) { seen.push_back(static_cast<TVec*>(sender)->Length()); });
  x.SetLength(4);         // unchanged: no event
  x.SetComplex(true);     // same count: no event
  x.SetLength(8);
  x.DownSample(2, 1);     // 8 -> 4
  TVec y(10);
  x.Copy(y);              // 4 -> 10
  x.Size(10, false);      // unchanged
  TVec spectrum;
  spectrum.SetOnSetLength([&](TObject*) { seen.push_back(-1); });
  y.RealFFT(spectrum);    // 0 -> 6
  EXPECT_EQ(seen, (std::vector<int>{8, 4, 10, -1}));
}

TEST(VecShape, CopyConstructionDoesNotCarryTheLengthHandler) {
  int calls = 0;
  TVec x(3);
  x.SetOnSetLength([&](TObject*) { ++calls; });
  TVec y(x);
  y.SetLength(5);
  x.SetLength(1);
  EXPECT_EQ(calls, 1);
}

TEST(VecShape, ReturningToAnEarlierSizeAllocatesNothing) {
  TVec x(4096, true), y(4096, true);
  RandGauss(x, 0, 1, 1);
  RandGauss(y, 0, 1, 2);
  x.SetLength(10);
  x.SetComplex(false);
  AllocationScope scope;
  for (int round = 0; round < 3; ++round) {
    x.SetComplex(true);
    x.SetLength(4096);
    x.Mul(y);
    x.Add(y);
    x.ConjMul(y);
    x.Scale(0.5);
    x.Rotate(100);
    x.RemoveDC(0, 1000);
    x.Copy(y);
    x.Mag();
    x.SetLength(7);
  }
  EXPECT_EQ(scope.Count(), 0u);
}

TEST(VecShape, BadLengthsAndRangesRaise) {
  TVec x(4), y(5);
  EXPECT_EQ(test::MessageOf([&] { x.Add(y); }), "TVec: lengths differ (4 <> 5)");
  EXPECT_THROW(x.RemoveDC(2, 3), Exception);
  EXPECT_THROW(x.SetZero(-1, 1), Exception);
  EXPECT_THROW(x.SetLength(-1), Exception);
  EXPECT_THROW(x.Copy(Cplx({1, 2}), 0, 0, 2), Exception);
}

TEST(VecArithmetic, ComplexOperationsAgreeWithStdComplex) {
  const std::vector<TCplx> a = {{1, 2}, {-3, 0.5}, {0, -1}, {2.5, 4}};
  const std::vector<TCplx> b = {{0.5, -1}, {2, 2}, {-1, 3}, {1, 0}};
  auto check = [&](auto op, auto ref, const char* name) {
    TVec x = Cplx(a);
    op(x, Cplx(b));
    std::vector<TCplx> want;
    for (std::size_t i = 0; i < a.size(); ++i) want.push_back(ref(a[i], b[i]));
    SCOPED_TRACE(name);
    ExpectElements(x, want, 1e-14);
  };
  check([](TVec& x, const TVec& y) { x.Add(y); }, [](TCplx p, TCplx q) { return p + q; }, "Add");
  check([](TVec& x, const TVec& y) { x.Sub(y); }, [](TCplx p, TCplx q) { return p - q; }, "Sub");
  check([](TVec& x, const TVec& y) { x.Mul(y); }, [](TCplx p, TCplx q) { return p * q; }, "Mul");
  check([](TVec& x, const TVec& y) { x.Divide(y); }, [](TCplx p, TCplx q) { return p / q; }, "Divide");
  check([](TVec& x, const TVec& y) { x.ConjMul(y); }, [](TCplx p, TCplx q) { return p * std::conj(q); }, "ConjMul");
  check([](TVec& x, const TVec&) { x.Conj(); }, [](TCplx p, TCplx) { return std::conj(p); }, "Conj");
  check([](TVec& x, const TVec&) { x.Inv(); }, [](TCplx p, TCplx) { return 1.0 / p; }, "Inv");
  check([](TVec& x, const TVec&) { x.Sqr(); }, [](TCplx p, TCplx) { return p * p; }, "Sqr");
  check([](TVec& x, const TVec&) { x.Sqrt(); }, [](TCplx p, TCplx) { return std::sqrt(p); }, "Sqrt");
  check([](TVec& x, const TVec&) { x.Ln(); }, [](TCplx p, TCplx) { return std::log(p); }, "Ln");
  check([](TVec& x, const TVec&) { x.Power(1.5); }, [](TCplx p, TCplx) { return std::pow(p, 1.5); }, "Power");
  check([](TVec& x, const TVec&) { x.Scale(TCplx(0, 2)); }, [](TCplx p, TCplx) { return p * TCplx(0, 2); }, "Scale");
  check([](TVec& x, const TVec&) { x.Mag(); }, [](TCplx p, TCplx) { return TCplx(std::abs(p)); }, "Mag");
}

TEST(VecArithmetic, MixedKindsPromoteARealVectorAndTreatARealArgumentAsComplex) {
  TVec r = Real({1, 2});
  r.Mul(Cplx({{0, 1}, {1, 1}}));
  EXPECT_TRUE(r.Complex());
  ExpectElements(r, {{0, 1}, {2, 2}});
  TVec c = Cplx({{1, 1}, {2, -2}});
  c.Mul(Real({3, -1}));
  ExpectElements(c, {{3, 3}, {-2, 2}});
  c.Add(Real({1, 1}));
  ExpectElements(c, {{4, 3}, {-1, 2}});
  c.Add(10.0);
  ExpectElements(c, {{14, 3}, {9, 2}});
}

TEST(VecArithmetic, RealDomainEdgesFollowIeee) {
  TVec x = Real({0.0, -1.0, 4.0});
  x.Ln();
  EXPECT_EQ(x.Values(0), -std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(x.Values(1)));
  EXPECT_DOUBLE_EQ(x.Values(2), std::log(4.0));
  TVec y = Real({0.0, -4.0});
  y.Inv();
  EXPECT_EQ(y.Values(0), std::numeric_limits<double>::infinity());
  EXPECT_EQ(y.Values(1), -0.25);
}

TEST(VecReorder, EachOperationGivesItsWorkedExample) {
  const TVec r = Real({0, 1, 2, 3, 4, 5, 6});
  const TVec c = Cplx({{1, -1}, {2, -2}, {3, -3}, {4, -4}});
  const struct {
    const char* name;
    TVec in;
    std::function<void(TVec&)> op;
    std::vector<TCplx> want;
  } cases[] = {
      {"Rotate 2", r, [](TVec& x) { x.Rotate(2); }, {2, 3, 4, 5, 6, 0, 1}},
      {"Rotate -2", r, [](TVec& x) { x.Rotate(-2); }, {5, 6, 0, 1, 2, 3, 4}},
      {"Rotate 16", r, [](TVec& x) { x.Rotate(16); }, {2, 3, 4, 5, 6, 0, 1}},
      {"Rotate half", c, [](TVec& x) { x.Rotate(2); }, {{3, -3}, {4, -4}, {1, -1}, {2, -2}}},
      {"DownSample 3 from 1", r, [&](TVec& x) { x.DownSample(r, 3, 1); }, {1, 4}},
      {"DownSample 3 from 0", r, [&](TVec& x) { x.DownSample(r, 3, 0); }, {0, 3, 6}},
      {"DownSample past the end", r, [&](TVec& x) { x.DownSample(r, 2, 9); }, {}},
      {"DownSample in place", c, [](TVec& x) { x.DownSample(2, 1); }, {{2, -2}, {4, -4}}},
      {"RealPart", r, [&](TVec& x) { x.RealPart(c); }, {1, 2, 3, 4}},
      {"ImagPart of itself", c, [](TVec& x) { x.ImagPart(x); }, {-1, -2, -3, -4}},
      {"Reverse", c, [](TVec& x) { x.Reverse(); }, {{4, -4}, {3, -3}, {2, -2}, {1, -1}}},
      {"RemoveDC range", r, [](TVec& x) { x.RemoveDC(1, 3); }, {0, -1, 0, 1, 4, 5, 6}},
      {"RemoveDC complex", c, [](TVec& x) { x.RemoveDC(0, 2); }, {{-0.5, 0.5}, {0.5, -0.5}, {3, -3}, {4, -4}}},
      {"Copy range", Cplx({0, 0, 0, 0, 0, 0}), [](TVec& x) { x.Copy(Real({5, 6, 7}), 1, 3, 2); }, {0, 0, 0, 6, 7, 0}},
      {"SetZero range", c, [](TVec& x) { x.SetZero(1, 2); }, {{1, -1}, 0, 0, {4, -4}}},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(k.name);
    TVec x = k.in;
    k.op(x);
    ExpectElements(x, k.want);
  }
  TVec x = r;
  EXPECT_THROW(x.DownSample(0, 0), Exception);
}

TEST(VecRanges, ReplaceAndThresholds) {
  TVec x = Real({0.0, 1e-5, -2.0, 3.0, std::numeric_limits<double>::quiet_NaN()});
  x.Replace(0.0, 7.0, 1e-4);
  EXPECT_EQ(x.Values(0), 7.0);
  EXPECT_EQ(x.Values(1), 7.0);
  EXPECT_EQ(x.Values(2), -2.0);
  EXPECT_TRUE(std::isnan(x.Values(4)));
  x.ThreshBottom(-1.0);
  x.ThreshTop(5.0);
  EXPECT_EQ(x.Values(0), 5.0);
  EXPECT_EQ(x.Values(2), -1.0);
}

// Larger vectors are checked against numpy in the oracle tests.
TEST(VecStatistics, PeakIsTheLargestMagnitudeAndEdgeLengthsGiveNaN) {
  const TVec x = Real({3, -4, 1, 2});
  EXPECT_EQ(x.Peak(), 4.0);
  double mn, mx;
  int imn, imx;
  x.MinMax(mn, mx, imn, imx);
  EXPECT_EQ(imn, 1);
  EXPECT_EQ(Real({5}).StdDev(), 0.0);
  const TVec e;
  EXPECT_TRUE(std::isnan(e.Mean()));
  EXPECT_TRUE(std::isnan(e.Max()));
  EXPECT_EQ(e.MaxIndex(), -1);
  EXPECT_EQ(e.NearestMaximum(3), -1);
}

TEST(VecStatistics, NearestMaximumAndMinimumClimbToTheLocalExtremum) {
  //                 0  1  2  3  4  5  6  7  8
  const TVec x = Real({0, 1, 5, 2, 1, 3, 9, 4, 2});
  EXPECT_EQ(x.NearestMaximum(1), 2);
  EXPECT_EQ(x.NearestMaximum(3), 2);
  EXPECT_EQ(x.NearestMaximum(4), 6);   // the larger neighbour wins, then on to 9
  EXPECT_EQ(x.NearestMaximum(8), 6);
  EXPECT_EQ(x.NearestMaximum(100), 6); // clamped to the last index first
  EXPECT_EQ(x.NearestMinimum(2), 0);
  EXPECT_EQ(x.NearestMinimum(3), 4);
  EXPECT_EQ(x.NearestMinimum(5), 4);
}
