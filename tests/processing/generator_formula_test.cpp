#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Tone.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/numeric/Waveforms.h"
#include "sigflow/processing/SignalGenerator.h"
#include "sigflow/tools/SignalCollection.h"
#include "support/alloc_counter.h"
#include "support/message.h"

using namespace sigflow;
using sigflow::test::MessageOf;
using ::testing::HasSubstr;

namespace {

constexpr double Fs = 48000.0;

// A generator of Length samples showing the formula Text.
struct Gen {
  TSignalGenerator g{nullptr};
  Gen(const std::string& Text, int Length) {
    g.SetSamplingFrequency(Fs);
    g.SetLength(Length);
    g.Sounds()->AddTemplate("f");
    for (const auto& r : ParseFormula(Text)) g.Template()->Add(r);
  }
  std::vector<double> Block() {
    g.Update();
    const TVec& d = g.Data();
    return {d.Data(), d.Data() + d.Length() * (d.Complex() ? 2 : 1)};
  }
};

// Blocks of g joined.
std::vector<double> Joined(Gen& g, int blocks) {
  std::vector<double> joined;
  for (int b = 0; b < blocks; ++b) {
    const auto v = g.Block();
    joined.insert(joined.end(), v.begin(), v.end());
  }
  return joined;
}

void ExpectNear(const std::vector<double>& a, const std::vector<double>& b, double tol) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], tol) << "sample " << i;
}

}  // namespace

TEST(GeneratorFormula, PostfixLinesEvaluateAsTheirExpression) {
  const int n = 777;
  Gen gen("sine(1000,30,2) square(50,10,0.5,0.25) + constant(-1.5) *", n);
  TToneState tone;
  ToneInit(tone, 1000, 30 * std::numbers::pi / 180, 2, Fs, false);
  TSquareWaveState sq;
  SquareWaveInit(sq, 50, 10 * std::numbers::pi / 180, 0.5, 0.25, Fs);
  for (int block = 0; block < 2; ++block) {  // the second block continues both waveforms
    std::vector<double> s(n), q(n);
    Tone(tone, s);
    SquareWave(sq, q);
    const auto out = gen.Block();
    EXPECT_EQ(gen.g.ComputeMessage(), "");
    for (std::size_t i = 0; i < s.size(); ++i) ASSERT_NEAR(out[i], (s[i] + q[i]) * -1.5, 1e-15) << block;
  }

  Gen unary("sine(440,0,3) sin", n);
  TToneState t2;
  ToneInit(t2, 440, 0, 3, Fs, false);
  std::vector<double> s3(n);
  Tone(t2, s3);
  const auto u = unary.Block();
  for (std::size_t i = 0; i < s3.size(); ++i) ASSERT_NEAR(u[i], std::sin(s3[i]), 1e-15);

  // The other operators, on constants.
  const std::pair<const char*, double> cases[] = {
      {"constant(7) constant(2) -", 5},  {"constant(7) constant(2) /", 3.5}, {"constant(0.5) cos", std::cos(0.5)},
      {"constant(0.5) tan", std::tan(0.5)}, {"constant(0.5) exp", std::exp(0.5)}, {"constant(8) ln", std::log(8.0)},
      {"constant(1000) log", 3.0}, {"constant(2) constant(3) constant(4) * +", 14}};
  for (auto [text, value] : cases) {
    Gen c(text, 4);
    auto v = c.Block();
    EXPECT_NEAR(v[3], value, 1e-14) << text;
  }
}

TEST(GeneratorFormula, LastOperatorGivesWhatAnInnerOneGives) {
  // The last operator writes into the output directly, an inner one into its line; times a
  // constant 1 afterwards the same operation is inner, so both must agree bit for bit.
  for (const char* op : {"+", "-", "*", "/"}) {
    const std::string pair = std::string("triangle(300,20,1.5,0.3) sine(1000,30,2) ") + op;
    Gen last(pair, 37), inner(pair + " constant(1) *", 37);
    for (int block = 0; block < 2; ++block) {
      const auto a = last.Block(), b = inner.Block();
      EXPECT_EQ(last.g.ComputeMessage(), "");
      EXPECT_EQ(a, b) << op << " block " << block;
    }
  }
}

TEST(GeneratorFormula, FailuresAreRaisedOrReported) {
  {  // 22 lines
    std::string text;
    for (int i = 0; i < 22; ++i) text += "constant(1) ";
    Gen g(text, 8);
    EXPECT_EQ(MessageOf([&] { g.g.ResetStack(); }), "Max stack size = 21!");
    EXPECT_THAT(MessageOf([&] { g.g.Update(); }), HasSubstr("Max stack size = 21!"));
  }
  {  // two function lines, no operator
    Gen g("sine(1000,0,1) constant(2)", 16);
    g.g.Data().SetVal(5.0);
    auto v = g.Block();
    EXPECT_EQ(g.g.ComputeMessage(), "Invalid expression: Missing operator!");
    EXPECT_FALSE(g.g.Prepared());
    for (double x : v) ASSERT_EQ(x, 0.0);
  }
  {  // operator with nothing below
    Gen g("+", 16);
    g.g.Data().SetVal(5.0);
    auto v = g.Block();
    EXPECT_EQ(g.g.ComputeMessage(), "Invalid expression!");
    for (double x : v) ASSERT_EQ(x, 0.0);
    // The same text leaves with a good evaluation.
    g.g.Template()->Delete(0);
    g.g.Template()->Add(ParseFormula("constant(3)")[0]);
    g.g.SetPrepared(false);
    EXPECT_EQ(g.Block()[0], 3.0);
    EXPECT_EQ(g.g.ComputeMessage(), "");
  }
  {  // an operator that never reduces
    Gen g("constant(1) constant(2)", 16);
    TFuncSignalRecord none;
    none.OpType = optOperator;
    none.Operation = opNone;
    g.g.Template()->Add(none);
    g.Block();
    EXPECT_EQ(g.g.ComputeMessage(), "Expression stack size limit exceeded!");
    EXPECT_FALSE(g.g.Prepared());
  }
  {  // FillValues on an operator line
    Gen g("constant(1) constant(2) +", 16);
    g.g.Prepare();
    EXPECT_EQ(MessageOf([&] { g.g.FillValues(g.g.Slots(2)); }), "Formula error!");
  }
  {
    Gen g("sine(1000,0,1)", 16);
    g.g.SetSamplingFrequency(0);
    EXPECT_EQ(MessageOf([&] { g.g.Prepare(); }), "SamplingFrequency = 0");
  }
  {
    Gen g("input3", 16);
    EXPECT_EQ(MessageOf([&] { g.g.Prepare(); }), "i > Inputs.Count-1");
  }
  {
    Gen g("constant(1)", 0);
    EXPECT_THAT(MessageOf([&] { g.g.Update(); }), HasSubstr("Length = 0"));
  }
  {  // the loose bound of ResyncFunction
    Gen g("sine(1) sine(2)", 16);
    std::vector<int> seen;
    g.g.SetOnResync([&](TObject* s, int i) {
      EXPECT_EQ(s, &g.g);
      seen.push_back(i);
    });
    g.g.ResyncFunction(3);  // 3 - 1 = 2 is not above Count = 2
    EXPECT_EQ(MessageOf([&] { g.g.ResyncFunction(4); }), "(TemplateLineIndex-1) > Template.Count");
    g.g.ResyncAll();
    EXPECT_EQ(seen, (std::vector<int>{3, 0, 1}));
    EXPECT_TRUE(g.g.Slots(0).Resync && g.g.Slots(1).Resync);
  }
  {  // empty template: output stays, no message
    Gen g("", 8);
    g.g.Data().SetVal(4.0);
    auto v = g.Block();
    EXPECT_EQ(g.g.ComputeMessage(), "");
    EXPECT_EQ(v[7], 4.0);
  }
}

TEST(GeneratorFormula, ConsecutiveBlocksEqualOneLongBlock) {
  const char* lines[] = {"sine(1234.5,17,0.8)", "triangle(333,40,1.5,0.3)", "square(441,12,2,0.5)",
                         "randgauss(0.5,2)", "randuniform(-1,3)", "impulse(2,5,1,1,100,0,3)"};
  for (const char* text : lines) {
    Gen small(text, 1000), big(text, 100000);
    SCOPED_TRACE(text);
    ExpectNear(Joined(small, 100), big.Block(), 1e-12);
  }
  // The chirp sweeps once per block: 100 blocks equal one long stream of 1000-sample sweeps.
  Gen chirp("chirp(100,10,1,0.1,5000,0.5,0.75)", 1000);
  TChirpState st;
  ChirpInit(st, 100, 10 * std::numbers::pi / 180, 1, 0.1, 5000, 0.5, 0.75, 1000, Fs);
  std::vector<double> want(100000);
  Chirp(st, want);
  ExpectNear(Joined(chirp, 100), want, 1e-12);
}

TEST(GeneratorFormula, LinesThatAreNotContinuousRepeatTheirFirstBlock) {
  for (const char* text : {"sine:once(1000,30,1)", "square:once(777,0,1,0)", "chirp:once(10,0,1,0,900,2,1)",
                           "triangle:once(300,0,1,0.2)"}) {
    Gen g(text, 500);
    auto first = g.Block();
    for (int b = 0; b < 3; ++b) EXPECT_EQ(g.Block(), first) << text;
  }
  Gen noise("randgauss:once(1,3)", 300);
  TVec ref;
  ref.SetLength(300);
  RandGauss(ref, 1, 3, 999);
  const std::vector<double> want(ref.Data(), ref.Data() + 300);
  for (int b = 0; b < 3; ++b) EXPECT_EQ(noise.Block(), want);
  Gen uni("randuniform:once(-2,5)", 300);
  RandUniform(ref, -2, 5, 999);
  const std::vector<double> wantU(ref.Data(), ref.Data() + 300);
  EXPECT_EQ(uni.Block(), wantU);
  EXPECT_EQ(uni.Block(), wantU);

  // Resync restarts a continuous line once.
  Gen s("sine(1000,30,1)", 500);
  auto b0 = s.Block();
  EXPECT_NE(s.Block(), b0);
  s.g.ResyncFunction(0);
  EXPECT_EQ(s.Block(), b0);
  EXPECT_NE(s.Block(), b0);
  // A parameter change prepares again, which restarts every line.
  s.g.ParamUpdate(nullptr);
  EXPECT_FALSE(s.g.Prepared());
  EXPECT_EQ(s.Block(), b0);
  EXPECT_TRUE(s.g.Prepared());
  s.g.SetLength(250);
  auto shorter = s.Block();
  EXPECT_EQ(shorter, std::vector<double>(b0.begin(), b0.begin() + 250));
}

TEST(GeneratorFormula, ComplexToneAboveHalfTheSamplingFrequencyIsConjugated) {
  const double f = 30000, phi = 20;
  Gen g("sine:c(30000,20,1.5)", 256);
  auto v = g.Block();
  ASSERT_TRUE(g.g.Complex());
  for (int n = 0; n < 256; ++n) {
    // The mirrored positive frequency Fs - f with the phase negated.
    const double a = 2 * std::numbers::pi * (Fs - f) * n / Fs - phi * std::numbers::pi / 180;
    ASSERT_NEAR(v[2 * std::size_t(n)], 1.5 * std::cos(a), 1e-12) << n;
    ASSERT_NEAR(v[2 * std::size_t(n) + 1], 1.5 * std::sin(a), 1e-12) << n;
  }
}

TEST(GeneratorFormula, SymmetricTriangle) {
  Gen g("triangle(1000,0,2,0.5)", 96);  // 48 samples per period
  auto v = g.Block();
  double peak = 0;
  for (int k = 0; k <= 12; ++k) {
    ASSERT_NEAR(v[std::size_t(12 + k)], v[std::size_t(12 - k)], 1e-12) << k;  // even about the top
    ASSERT_NEAR(v[std::size_t(48 - k)], -v[std::size_t(k)], 1e-12) << k;     // odd about 0
    peak = std::max(peak, v[std::size_t(12 + k)]);
  }
  EXPECT_NEAR(peak, 2.0, 1e-12);
  EXPECT_NEAR(v[6], 1.0, 1e-12);  // linear rise
}

TEST(GeneratorFormula, SampleIndexWrapsBeforeOverflow) {
  Gen g("square(100,0,1,0)", 100);
  g.Block();
  EXPECT_EQ(g.g.Slots(0).SampleIndex, 100);
  g.g.Slots(0).SampleIndex = SampleIndexWrap - 1;
  g.Block();
  EXPECT_EQ(g.g.Slots(0).SampleIndex, SampleIndexWrap - 1 + 100);
  g.Block();
  EXPECT_EQ(g.g.Slots(0).SampleIndex, 0);
}

TEST(GeneratorFormula, InputsFeedTheFormula) {
  TSignal in(nullptr);
  in.SetSamplingFrequency(Fs);
  in.SetLength(64);
  for (int i = 0; i < 64; ++i) in.SetValues(i, i * 0.25);
  TSignalGenerator g(nullptr);
  g.SetSamplingFrequency(Fs);
  g.SetLength(10);
  g.Inputs()->Add()->SetInput(&in);
  g.Sounds()->AddTemplate("f");
  for (const auto& r : ParseFormula("input0 constant(2) *")) g.Template()->Add(r);
  g.Update();
  EXPECT_TRUE(g.UsesInputs());
  ASSERT_EQ(g.Length(), 64);
  for (int i = 0; i < 64; ++i) ASSERT_EQ(g.Values(i), i * 0.5);
}

TEST(GeneratorFormula, SteadyStateAllocatesNothing) {
  Gen g("sine(1000,0,1) square:once(50,0,1,0) + randgauss(0,1) * sine:once(3,4,5) sin -", 4096);
  Gen c("sine:c(30000,0,1) randgauss:c(0,1) + triangle:c(100,0,1,0.3) /", 1024);
  for (int b = 0; b < 3; ++b) {
    g.g.Update();
    c.g.Update();
  }
  test::AllocationScope scope;
  for (int b = 0; b < 10; ++b) {
    g.g.Update();
    c.g.Update();
  }
  EXPECT_EQ(scope.Count(), 0u);
  EXPECT_EQ(g.g.ComputeMessage(), "");
  EXPECT_EQ(c.g.ComputeMessage(), "");
}

TEST(GeneratorFormula, OnlySlotsCanBeStarted) {
  Gen g("sine(1000,0,1)", 16);
  TFuncSignalRecord stray;
  EXPECT_THROW(g.g.InitFunc(stray), Exception);
  EXPECT_THROW(g.g.Slots(21), EListError);
  g.g.InitFunc(g.g.Slots(20));
  EXPECT_NE(g.g.Slots(20).State, nullptr);
}
