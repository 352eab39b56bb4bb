// Run-time side of the signal filter: pass-through, rate change, restarts, the single-sample
// path, data kinds and allocation-free blocks.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "filter_test_util.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/processing/SignalFilter.h"
#include "support/message.h"

namespace sigflow {
namespace {

using test::Cplx;

std::vector<double> Noise(std::size_t n, unsigned seed = 3) {
  std::mt19937 gen(seed);
  std::normal_distribution<double> d;
  std::vector<double> x(n);
  for (double& v : x) v = d(gen);
  return x;
}

// Direct convolution, the stream starting from rest.
std::vector<Cplx> Convolve(const std::vector<double>& h, const std::vector<double>& x) {
  std::vector<Cplx> y(x.size());
  for (std::size_t n = 0; n < x.size(); ++n)
    for (std::size_t k = 0; k < h.size() && k <= n; ++k) y[n] += h[k] * x[n - k];
  return y;
}

struct Chain {
  TSignal in{nullptr};
  TSignalFilter f{nullptr};
  Chain() {
    in.SetSamplingFrequency(1000);
    f.SetInput(&in);
  }
};

TEST(FilterStream, UnpreparedFilterPassesTheSignalThrough) {
  Chain c;
  c.f.SetResponse(rstFIR);
  c.f.SetExternalTaps(true);
  const auto x = Noise(50);
  const auto y = test::RunBlocks(c.f, c.in, x, 50);
  EXPECT_FALSE(c.f.Prepared());
  EXPECT_TRUE(test::Close(y, test::AsComplex(x), 0));
  // A FIR response without an input is not prepared either, and so is a sample.
  TSignalFilter lone(nullptr);
  test::SetTaps(lone, std::vector<double>{0.5, 0.5});
  lone.SetResponse(rstFIR);
  EXPECT_EQ(lone.ProcessSample(3.25), 3.25);
  EXPECT_FALSE(lone.Prepared());
  TVec src(4), dst;
  src.SetValues(2, 7);
  lone.Process(src, dst);
  EXPECT_EQ(dst.Length(), 4);
  EXPECT_EQ(dst.Values(2), 7);
}

TEST(FilterStream, RateChangeSetsLengthAndSamplingFrequency) {
  Chain c;
  c.f.SetResponse(rstFIR);
  test::SetTaps(c.f, std::vector<double>{1, 0.5});
  c.f.SetUpSample(2);
  const auto x = Noise(100);
  test::RunBlocks(c.f, c.in, x, 100);
  EXPECT_EQ(c.f.Length(), 200);
  EXPECT_DOUBLE_EQ(c.f.SamplingFrequency(), 2000);
  c.f.SetUpSample(1);
  c.f.SetDownSample(3);
  test::RunBlocks(c.f, c.in, x, 100);
  EXPECT_EQ(c.f.Length(), 34);
  EXPECT_NEAR(c.f.SamplingFrequency(), 1000.0 / 3, 1e-9);
  c.f.SetUpSample(-2);  // a zero rate gives no output
  test::RunBlocks(c.f, c.in, x, 100);
  EXPECT_EQ(c.f.Length(), 0);
}

TEST(FilterStream, RatesAndDelaysAreLimited) {
  TSignalFilter f(nullptr);
  f.SetDownSample(6);
  f.SetDownDelay(5);
  EXPECT_EQ(f.DownDelay(), 5);
  f.SetDownSample(3);
  EXPECT_EQ(f.DownDelay(), 2);
  f.SetDownDelay(9);
  EXPECT_EQ(f.DownDelay(), 2);
  f.SetUpSample(4);
  f.SetUpDelay(-1);
  EXPECT_EQ(f.UpDelay(), 0);
  f.SetUpDelay(3);
  f.SetUpSample(-3);
  EXPECT_EQ(f.UpSample(), 0);
  EXPECT_EQ(f.UpDelay(), 0);
  f.SetDownSample(-1);
  EXPECT_EQ(f.DownSample(), 0);
  EXPECT_EQ(f.DownDelay(), 0);
}

TEST(FilterStream, WaveletLeavesTheOutputAsItWas) {
  Chain c;
  c.f.SetResponse(rstWavelet);
  c.f.Data().Size(5, false);
  for (int i = 0; i < 5; ++i) c.f.Data().SetValues(i, 10 + i);
  test::Fill(c.in.Data(), Noise(32), 0, 32);
  c.f.Update();
  EXPECT_TRUE(c.f.Prepared());
  ASSERT_EQ(c.f.Data().Length(), 5);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(c.f.Data().Values(i), 10 + i);
}

TEST(FilterStream, SamplesEqualTheBlockPathAndMixWithIt) {
  const std::vector<double> h = {0.3, -0.2, 0.7, 0.1, 0.05};
  const auto x = Noise(300);
  Chain a, b;
  for (Chain* c : {&a, &b}) {
    c->f.SetResponse(rstFIR);
    test::SetTaps(c->f, h);
  }
  const auto blocks = test::RunBlocks(a.f, a.in, x, 300);
  std::vector<Cplx> samples;
  for (std::size_t i = 0; i < 100; ++i) samples.emplace_back(b.f.ProcessSample(x[i]));
  // The rest as one block: the state continues from the samples.
  const std::vector<double> rest(x.begin() + 100, x.end());
  const auto tail = test::RunBlocks(b.f, b.in, rest, rest.size());
  samples.insert(samples.end(), tail.begin(), tail.end());
  EXPECT_TRUE(test::Close(samples, blocks, 1e-13));
  EXPECT_TRUE(test::Close(blocks, Convolve(h, x), 1e-13));
}

TEST(FilterStream, ComplexTapsRefuseSingleSamples) {
  Chain c;
  c.f.SetResponse(rstFIR);
  test::SetTaps(c.f, std::vector<Cplx>{{1, 1}, {0, 2}});
  EXPECT_EQ(test::MessageOf([&] { c.f.ProcessSample(1); }), "FirState.ComplexImpulse = True!");
  // Real data through complex taps is complex.
  const auto y = test::RunBlocks(c.f, c.in, std::vector<double>{1, 0, 0}, 3);
  EXPECT_TRUE(c.f.Data().Complex());
  EXPECT_TRUE(test::Close(y, {{1, 1}, {0, 2}, {0, 0}}, 1e-15));
}

TEST(FilterStream, ParameterChangeRestartsTheMemory) {
  const std::vector<double> h = {0.25, 0.5, 0.25, 0.125};
  const auto x = Noise(40);
  Chain c;
  c.f.SetResponse(rstFIR);
  test::SetTaps(c.f, h);
  test::RunBlocks(c.f, c.in, x, 40);
  c.f.SetGridDensity(32);  // any property restarts the filter
  const auto second = test::RunBlocks(c.f, c.in, x, 40);
  EXPECT_TRUE(test::Close(second, Convolve(h, x), 1e-14));
  // Without a change the memory carries on: the second block is not the first again.
  const auto third = test::RunBlocks(c.f, c.in, x, 40);
  EXPECT_FALSE(test::Close(third, Convolve(h, x), 1e-6));
}

TEST(FilterStream, DataKindChangeRestartsAndComplexIsFiltered) {
  const std::vector<double> h = {1, -1};
  Chain c;
  c.f.SetResponse(rstFIR);
  test::SetTaps(c.f, h);
  test::RunBlocks(c.f, c.in, std::vector<double>{5, 6}, 2);
  const auto y = test::RunBlocks(c.f, c.in, std::vector<Cplx>{{1, 2}, {3, 5}}, 2);
  EXPECT_TRUE(test::Close(y, {{1, 2}, {2, 3}}, 1e-15));
}

TEST(FilterStream, MedianOfComplexDataTakesPartsSeparatelyAndEnvelopeRefusesIt) {
  Chain c;
  c.f.SetResponse(rstMedian);
  c.f.SetFirLength(3);
  const std::vector<Cplx> x = {{1, -4}, {5, 2}, {3, 9}, {-2, 1}, {8, 0}};
  const auto y = test::RunBlocks(c.f, c.in, x, 2);
  // Window starts with zeros: medians of (0,0,x0), (0,x0,x1), (x0,x1,x2), ...
  EXPECT_TRUE(test::Close(y, {{0, 0}, {1, 0}, {3, 2}, {3, 2}, {3, 1}}, 0));
  c.f.SetResponse(rstEnvelope);
  test::Fill(c.in.Data(), x, 0, 5);
  EXPECT_THROW(c.f.Update(), Exception);
}

TEST(FilterStream, ProcessInPlace) {
  TSignal in(nullptr);
  TSignalFilter f(nullptr);
  f.SetInput(&in);
  f.SetResponse(rstFIR);
  test::SetTaps(f, std::vector<double>{0.5, 0.5});
  TVec v(4);
  for (int i = 0; i < 4; ++i) v.SetValues(i, i + 1);
  f.Process(v, v);
  const double want[] = {0.5, 1.5, 2.5, 3.5};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(v.Values(i), want[i]);
}

TEST(FilterStream, EveryResponseRunsBlocksWithoutAllocating) {
  const auto x = Noise(8 * 256);
  for (int r = rstUnit; r <= rstWavelet; ++r) {
    Chain c;
    c.f.SetResponse(static_cast<TResponseType>(r));
    c.f.SetFirMethod(fimParksMcClellan);
    c.f.SetAutoFilterOrder(false);
    c.f.SetFirLength(15);
    c.f.SetOrder(4);
    c.f.Filters()->AddTemplate("t");
    c.f.Bands()->Add({0.05, 0.3, 1, 0.5, 0, 0});
    c.f.Bands()->Add({0.45, 1, 0, 40, 0, 0});
    c.f.ParamUpdate(&c.f);
    std::size_t allocations = 0;
    test::RunBlocks(c.f, c.in, x, 256, &allocations);
    EXPECT_EQ(allocations, 0u) << "response " << r;
    if (r != rstUnit && r != rstWavelet) {
      EXPECT_TRUE(c.f.Prepared()) << "response " << r;
    }
  }
}

}  // namespace
}  // namespace sigflow
