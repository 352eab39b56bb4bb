// TSignal timing rules, shape adoption, value access, text output and persistence.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <numbers>
#include <tuple>

#include "sigflow/Core.h"
#include "sigflow/SignalTools.h"

namespace sigflow {
namespace {

constexpr double kTol = 1e-15;

void ExpectTiming(const TSignal& s, double T, double fs, double dt, double hz, double bw) {
  EXPECT_NEAR(s.SamplingTime(), T, kTol * std::max(1.0, T));
  EXPECT_NEAR(s.SamplingFrequency(), fs, kTol * std::max(1.0, fs));
  EXPECT_NEAR(s.Dt(), dt, kTol);
  EXPECT_NEAR(s.HzRes(), hz, kTol);
  EXPECT_NEAR(s.BandWidth(), bw, kTol * std::max(1.0, bw));
}

TEST(SignalTiming, DerivedQuantitiesFollowTheLastSetter) {
  // Length keeps the rate, channel count keeps Dt, complex halves HzRes and doubles the band,
  // BlockAssign freezes the shape.
  struct Case {
    const char* name;
    std::function<void(TSignal&)> set;
    double T, fs, dt, hz, bw;
  };
  const Case cases[] = {
      {"new", [](TSignal&) {}, 128, 1, 1, 1.0 / 128, 0.5},
      {"length", [](TSignal& s) { s.SetSamplingFrequency(1000), s.SetLength(256); }, 0.256, 1000, 0.001, 1 / 0.256, 500},
      {"channels", [](TSignal& s) { s.SetChannelCount(2); }, 64, 1, 1, 1.0 / 64, 0.5},
      {"complex", [](TSignal& s) { s.SetComplex(true), s.SetSamplingTime(0.5); }, 0.5, 256, 0.5 / 128, 1.0, 256},
      {"real", [](TSignal& s) { s.SetSamplingTime(0.5); }, 0.5, 256, 0.5 / 128, 2.0, 128},
      {"dt", [](TSignal& s) { s.SetDt(0.25); }, 32, 4, 0.25, 1.0 / 32, 2},
      {"hzres", [](TSignal& s) { s.SetDt(0.25), s.SetHzRes(0.5); }, 2, 64, 2.0 / 128, 0.5, 32},
      {"complex hzres", [](TSignal& s) { s.SetDt(0.25), s.SetHzRes(0.5), s.SetComplex(true), s.SetHzRes(0.5); }, 1, 128, 1.0 / 128, 0.5, 128},
      {"block assign",
       [](TSignal& s) {
         s.SetBlockAssign(true), s.SetLength(10), s.SetComplex(true), s.SetSamplingFrequency(50);
         s.SetChannelCount(3), s.SetSamplingTime(2);
       },
       128, 1, 1, 1.0 / 128, 0.5},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TSignal s(nullptr);
    c.set(s);
    ExpectTiming(s, c.T, c.fs, c.dt, c.hz, c.bw);
  }
  TSignal s(nullptr);
  EXPECT_EQ(s.Data().Length(), 128);
  EXPECT_EQ(s.Marks().SortType(), srtTime);
  EXPECT_EQ(s.EndTime(), 128);
  s.SetSamplingFrequency(1000);
  s.Data().SetLength(512);  // a length change made by an operation on Data
  EXPECT_EQ(s.Length(), 512);
  EXPECT_NEAR(s.SamplingTime(), 0.512, kTol);
  EXPECT_EQ(s.SamplingFrequency(), 1000);
  s.SetBlockAssign(true);
  s.SetComplex(true);
  s.SetChannelCount(3);
  EXPECT_FALSE(s.Complex());
  EXPECT_EQ(s.ChannelCount(), 1);
}

TEST(SignalTiming, EmptySignal) {
  TSignal s(nullptr);
  s.SetSamplingFrequency(1000);
  s.SetLength(0);
  EXPECT_EQ(s.SamplingTime(), 0);
  EXPECT_EQ(s.EndTime(), 0.128);  // left from the last positive duration
  EXPECT_NEAR(s.Dt(), 0.001, kTol);
  EXPECT_NEAR(s.HzRes(), 1 / 0.128, kTol);
  EXPECT_EQ(s.BandWidth(), 500);
  s.SetHzRes(10);
  EXPECT_EQ(std::tuple(s.BandWidth(), s.SamplingTime(), s.Dt(), s.HzRes()), std::tuple(0.0, 0.0, 0.0, 0.0));
}

TEST(SignalTiming, NonPositiveDurationsAndRates) {
  TSignal s(nullptr);
  s.SetComplex(true);
  s.SetHzRes(0.5);
  // Non-positive durations store the value and change nothing else.
  s.SetSamplingTime(-1);
  EXPECT_EQ(s.SamplingTime(), -1);
  EXPECT_EQ(s.SamplingFrequency(), 128);
  EXPECT_NEAR(s.HzRes(), 0.5, kTol);
  // A zero sampling frequency is stored exactly; the next length change scales the duration.
  s.SetSamplingTime(2);
  s.SetSamplingFrequency(0);
  EXPECT_EQ(s.SamplingFrequency(), 0);
  EXPECT_EQ(s.SamplingTime(), 0);
}

TEST(SignalTiming, BandEdges) {
  TSignal s(nullptr);
  s.SetSamplingFrequency(1000);
  s.SetBandWidthL(100);
  EXPECT_EQ(s.BandWidthH(), 600);
  s.SetComplex(true);
  s.SetSamplingTime(s.SamplingTime());
  EXPECT_EQ(s.BandWidthH(), 1100);
  s.SetStartTime(2);
  s.SetSamplingFrequency(1000);
  EXPECT_NEAR(s.EndTime(), 2.128, kTol);
}

TEST(SignalShape, SizeAssignAndAdoption) {
  TSignal src(nullptr);
  src.SetComplex(true);
  src.SetLength(16);
  src.SetSamplingFrequency(8000);
  for (int i = 0; i < 16; ++i) src.SetCValues(i, TCplx(i, -i));
  TSignal dst(nullptr);
  dst.Size(src);
  EXPECT_EQ(std::tuple(dst.Complex(), dst.Length(), dst.SamplingFrequency(), dst.CValues(3)), std::tuple(true, 16, 8000.0, TCplx(0, 0)));
  dst.Assign(&src);
  EXPECT_EQ(dst.CValues(3), TCplx(3, -3));
  EXPECT_EQ(dst.Values(7), -3);  // raw storage: imaginary part of sample 3

  // BeforeInternalUpdate adopts channel count, complexity, lower edge and rate, not the length.
  TSignal in(nullptr);
  in.SetChannelCount(2);
  in.SetSamplingFrequency(48000);
  in.SetBandWidthL(10);
  in.SetComplex(true);
  TSignal stage(nullptr);
  stage.SetLength(10);
  stage.SetInput(&in);
  stage.Update();
  EXPECT_EQ(std::tuple(stage.ChannelCount(), stage.Complex(), stage.BandWidthL(), stage.SamplingFrequency(), stage.Length()),
            std::tuple(2, true, 10.0, 48000.0, 10));
  // Without UsesInputs nothing is adopted.
  TSignal free(nullptr);
  free.SetUsesInputs(false);
  free.SetInput(&in);
  free.Update();
  EXPECT_EQ(free.SamplingFrequency(), 1);
  // Multi-input: from the first item.
  TSignal multi(nullptr);
  multi.SetMultiChannel(true);
  multi.Update();
  EXPECT_EQ(multi.SamplingFrequency(), 1);
  multi.Inputs()->Add()->SetInput(&in);
  multi.Update();
  EXPECT_EQ(multi.SamplingFrequency(), 48000);
}

TEST(SignalStatistics, MinMaxPeakCrest) {
  TSignal s(nullptr);
  s.SetLength(4);
  const double v[] = {1, -3, 2, 0};
  for (int i = 0; i < 4; ++i) s.SetValues(i, v[i]);
  double lo, hi;
  s.MinMax(lo, hi);
  EXPECT_EQ(lo, -3);
  EXPECT_EQ(hi, 2);
  EXPECT_EQ(s.Peak(), 3);
  EXPECT_NEAR(s.Crest(), 3 / std::sqrt(14.0 / 4), 1e-15);
}

TEST(SignalText, MarksAlignedInColumns) {
  TSignal s(nullptr);
  s.Marks().Add({1000, 0.5, -90, 0.25});
  s.Marks().Add({20, 12.25, 3, 1});
  TStringList out;
  s.MarksToStrings(out, "F A P T", " | ", "%.4g");
  ASSERT_EQ(out.Count(), 3);
  EXPECT_EQ(out.Strings(0), "F A P T");
  EXPECT_EQ(out.Strings(1), "1000 |   0.5 | -90 | 0.25");
  EXPECT_EQ(out.Strings(2), "  20 | 12.25 |   3 |    1");
  TStringList plain;
  s.MarksToStrings(plain, "", "", "");
  EXPECT_EQ(plain.Strings(0), "1000   0.5 -90 0.25");
  EXPECT_THROW(s.MarksToStrings(plain, "", "", "%s"), EConvertError);
  EXPECT_THROW(s.MarksToStrings(plain, "", "", "%g %g"), EConvertError);
  EXPECT_THROW(s.MarksToStrings(plain, "", "", "%999g"), EConvertError);
}

std::uint64_t Bits(double x) { return std::bit_cast<std::uint64_t>(x); }

TEST(SignalPersistence, TreeRoundTripIsBitExact) {
  TComponent form(nullptr);
  form.SetName("Form1");
  auto* s = new TSignal(&form);
  s->SetName("Sig");
  s->SetComplex(true);
  s->SetLength(5);
  s->SetSamplingFrequency(44100.5);
  const TCplx vals[] = {{0.1, -0.0}, {1e-310, 3.0}, {-2.5e300, 1.0 / 3}, {std::nextafter(1.0, 2.0), -7}, {std::numbers::pi, std::numbers::e}};
  for (int i = 0; i < 5; ++i) s->SetCValues(i, vals[i]);
  s->Marks().Add({1, 2, 3, 4});
  s->Marks().Add({0.1, 1.0 / 7, -0.0, 1e-300});
  const std::string text = SaveComponentTreeToString(form);
  EXPECT_NE(text.find("SignalBinaryData"), std::string::npos);

  TComponent form2(nullptr);
  form2.SetName("Form1");
  LoadComponentTreeFromString(form2, text);
  auto* t = dynamic_cast<TSignal*>(form2.FindComponent("Sig"));
  ASSERT_NE(t, nullptr);
  ASSERT_TRUE(t->Complex());
  ASSERT_EQ(t->Length(), 5);
  EXPECT_EQ(Bits(t->SamplingFrequency()), Bits(44100.5));
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Bits(t->CValues(i).real()), Bits(vals[i].real())) << i;
    EXPECT_EQ(Bits(t->CValues(i).imag()), Bits(vals[i].imag())) << i;
  }
  ASSERT_EQ(t->Marks().Count(), 2);
  EXPECT_EQ(Bits(t->Marks().Values(1).Amplt), Bits(1.0 / 7));
  EXPECT_EQ(Bits(t->Marks().Values(1).Phase), Bits(-0.0));
  EXPECT_EQ(t->Marks().Values(0), (TMarkRecord{1, 2, 3, 4}));
  // The same tree saves to the same bytes.
  EXPECT_EQ(SaveComponentTreeToString(form2), text);
}

TEST(SignalPersistence, BinaryImageAndWhenItIsWritten) {
  TSignal s(nullptr);
  s.SetLength(2);
  s.SetValues(0, 1.5);
  s.SetValues(1, -2);
  TMemoryStream m;
  s.SaveBinaryStream(m);
  // 32-byte mark header, then the vector image: 16-byte header and two doubles.
  ASSERT_EQ(m.Size(), 32 + 16 + 16);
  const auto* b = static_cast<const std::uint8_t*>(m.Memory());
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 32), 4), "SVEC");
  EXPECT_EQ(b[32 + 5], 0);  // prDouble
  double v;
  std::memcpy(&v, b + 56, 8);
  EXPECT_EQ(v, -2);

  struct Probe : TFiler {
    bool hasData = false;
    std::string name;
    void DefineBinaryProperty(const std::string& n, TStreamProc, TStreamProc, bool h) override {
      name = n;
      hasData = h;
    }
    void DefineTextProperty(const std::string&, std::function<void(const std::string&)>, std::function<std::string()>,
                            bool) override {}
  };
  Probe p;
  s.DefineProperties(p);
  EXPECT_EQ(p.name, "SignalBinaryData");
  EXPECT_TRUE(p.hasData);
  s.SetBlockAssign(true);
  s.DefineProperties(p);
  EXPECT_FALSE(p.hasData);
  s.SetBlockAssign(false);
  s.SetDesigning(true);
  s.DefineProperties(p);
  EXPECT_FALSE(p.hasData);
}

TEST(SignalPersistence, RegisteredByName) {
  RegisterSignalToolsClasses();
  const TComponentClass* c = FindComponentClass("TSignal");
  ASSERT_NE(c, nullptr);
  std::unique_ptr<TComponent> made(c->Create(nullptr));
  EXPECT_EQ(made->ClassName(), "TSignal");
}

}  // namespace
}  // namespace sigflow
