#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/core/Streams.h"
#include "sigflow/processing/SignalGenerator.h"
#include "sigflow/processing/SignalGeneratorList.h"
#include "support/message.h"

using namespace sigflow;
using sigflow::test::MessageOf;

namespace {

void PutLE(std::vector<std::uint8_t>& b, std::size_t at, std::uint64_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) b[at + std::size_t(i)] = std::uint8_t(v >> (8 * i));
}

}  // namespace

TEST(FuncSignalNames, ConvertBothWays) {
  const char* funcs[] = {"Sine", "Impulse", "Unit impulse", "Triangle", "Square", "RandGauss", "RandUniform",
                         "Chirp", "Constant", "Input 0", "Input 1", "Input 2", "Input 3", "Input 4",
                         "Input 5", "Input 6", "Input 7"};
  for (int i = 0; i < funNone; ++i) {
    EXPECT_EQ(FuncToString(TFuncSignalType(i)), funcs[i]);
    EXPECT_EQ(StringToFunc(funcs[i]), TFuncSignalType(i));
  }
  EXPECT_EQ(StringToFunc("UNIT IMPULSE"), funUnitImpulse);
  EXPECT_EQ(StringToFunc("input 8"), funNone);
  EXPECT_EQ(StringToFunc("sine "), funNone);
  EXPECT_EQ(FuncToString(funNone), "Unrecognized");
  EXPECT_EQ(FuncToString(TFuncSignalType(200)), "Unrecognized");
  const char* ops[] = {"+", "-", "*", "/", "Sin", "Cos", "Tan", "Exp", "Ln", "Log"};
  for (int i = 0; i < opNone; ++i) {
    EXPECT_EQ(OpToString(TOperSignalType(i)), ops[i]);
    EXPECT_EQ(StringToOp(ops[i]), TOperSignalType(i));
  }
  EXPECT_EQ(StringToOp("LOG"), opLog);
  EXPECT_EQ(StringToOp("log10"), opNone);
  EXPECT_EQ(OpToString(opNone), "Unrecognized");
}

TEST(FuncSignalList, ByteImageOfTwoLines) {
  TFuncSignalList list;
  TFuncSignalRecord a;
  a.FuncType = funSquare;
  a.Operation = opNone;
  a.Complex = true;
  for (int k = 0; k < 7; ++k) a.Params[k] = 1.5 * (k + 1) - 4;
  a.Continuous = false;
  a.Resync = true;
  a.SampleIndex = -123456789;
  a.Computed = true;
  TFuncSignalRecord b;
  b.Active = false;
  b.OpType = optOperator;
  b.FuncType = funNone;
  b.Operation = opLog;
  b.Params[6] = 1e300;
  list.Add(a);
  list.Add(b);
  // A reference field that holds something is still written as zero bytes.
  list.Items(1)->Values = reinterpret_cast<TVec*>(&list);

  std::vector<std::uint8_t> want(228, 0);
  PutLE(want, 71, 2, 4);
  std::size_t r = 76;
  want[r + 0] = 1; want[r + 1] = 0; want[r + 2] = 4; want[r + 3] = 10; want[r + 4] = 1;
  for (int k = 0; k < 7; ++k) PutLE(want, r + 5 + 8 * std::size_t(k), std::bit_cast<std::uint64_t>(1.5 * (k + 1) - 4), 8);
  want[r + 61] = 0; want[r + 62] = 1;
  PutLE(want, r + 71, std::uint32_t(-123456789), 4);
  want[r + 75] = 1;
  r = 152;
  want[r + 0] = 0; want[r + 1] = 1; want[r + 2] = 17; want[r + 3] = 9; want[r + 4] = 0;
  PutLE(want, r + 5 + 48, std::bit_cast<std::uint64_t>(1e300), 8);
  want[r + 61] = 1;

  TMemoryStream s;
  list.SaveToStream(s);
  EXPECT_EQ(s.Bytes(), want);

  TFuncSignalList back;
  s.SetPosition(0);
  back.LoadFromStream(s);
  ASSERT_EQ(back.Count(), 2);
  EXPECT_EQ(s.Position(), 228);
  EXPECT_EQ(back.Items(1)->Values, nullptr);
  EXPECT_EQ(back.Items(0)->SampleIndex, -123456789);
  TMemoryStream again;  // every other field is in the image
  back.SaveToStream(again);
  EXPECT_EQ(again.Bytes(), want);
}

TEST(FuncSignalList, BadStreamsAreRefused) {
  std::vector<std::uint8_t> img(76 + 76, 0);
  PutLE(img, 71, 2, 4);  // two lines announced, one present
  TMemoryStream s;
  s.WriteBuffer(img.data(), std::int64_t(img.size()));
  s.SetPosition(0);
  TFuncSignalList list;
  list.Add(TFuncSignalRecord{});
  EXPECT_EQ(MessageOf<EReadError>([&] { list.LoadFromStream(s); }),
            "Line count 2 exceeds the 76 bytes left in the stream");
  EXPECT_EQ(list.Count(), 0);
  PutLE(img, 71, 0x80000000u, 4);
  TMemoryStream neg;
  neg.WriteBuffer(img.data(), std::int64_t(img.size()));
  neg.SetPosition(0);
  EXPECT_THROW(list.LoadFromStream(neg), EReadError);
  TMemoryStream shortHeader;
  shortHeader.WriteBuffer(img.data(), 40);
  shortHeader.SetPosition(0);
  EXPECT_THROW(list.LoadFromStream(shortHeader), Exception);

  // Items are not assigned, stacks take references only, templates copy.
  EXPECT_EQ(MessageOf<ENoOperation>([&] { list.SetItems(0, nullptr); }), "Operation not supported");
  TFuncSignalRecord rec;
  EXPECT_THROW(list.AddPointer(&rec), ENoOperation);
  TFuncSignalList stack(false);
  stack.AddPointer(&rec);
  EXPECT_EQ(stack.Items(0), &rec);
  stack.Delete(0);  // does not free rec
  EXPECT_EQ(stack.Count(), 0);
  TSignalSounds sounds;
  EXPECT_EQ(MessageOf<ENoOperation>([&] { sounds.SetTemplate(nullptr); }), "Operation not supported!");
}

TEST(FuncSignalText, ParsesAndFormats) {
  auto lines = ParseFormula("  sine(1000,0,1)  Square( 50 , 0 ,0.1,0) + unit_impulse input3 randgauss:c:once(0,1e-3) LOG ");
  ASSERT_EQ(lines.size(), 7u);
  // The text below and the byte image of the example pin the rest of the fields.
  EXPECT_EQ(lines[1].Params[2], 0.1);
  EXPECT_TRUE(lines[5].Complex && !lines[5].Continuous);

  TFuncSignalList list;
  for (const auto& r : lines) list.Add(r);
  const std::string text = FormatFormula(list);
  EXPECT_EQ(text, "sine(1000,0,1) square(50,0,0.10000000000000001) + unit_impulse input_3 randgauss:c:once(0,0.001) log");
  auto again = ParseFormula(text);
  ASSERT_EQ(again.size(), lines.size());
  TMemoryStream a, b;
  list.SaveToStream(a);
  TFuncSignalList list2;
  for (const auto& r : again) list2.Add(r);
  list2.SaveToStream(b);
  EXPECT_EQ(a.Bytes(), b.Bytes());

  // The guide's example image.
  TFuncSignalList ex;
  for (const auto& r : ParseFormula("sine(1000,0,1) +")) ex.Add(r);
  TMemoryStream img;
  ex.SaveToStream(img);
  std::vector<std::uint8_t> want(228, 0);
  want[71] = 2;
  want[76] = 1; want[79] = 0x0a;
  PutLE(want, 76 + 5, std::bit_cast<std::uint64_t>(1000.0), 8);
  PutLE(want, 76 + 21, std::bit_cast<std::uint64_t>(1.0), 8);
  want[76 + 61] = 1;
  want[152] = 1; want[153] = 1; want[154] = 0x11;
  want[152 + 61] = 1;
  EXPECT_EQ(img.Bytes(), want);

  for (const char* bad : {"sine(1,2", "sine(1,x)", "wobble(3)", "sine(1,2,3,4,5,6,7,8)", "sine:z(1)", "sine(1))", "sine(1)x"}) {
    EXPECT_THROW(ParseFormula(bad), EConvertError) << bad;
  }
}

TEST(GeneratorPersistence, FormulasRoundTrip) {
  TComponent form(nullptr);
  form.SetName("Form1");
  auto* g = new TSignalGenerator(&form);
  g->SetName("Gen");
  g->SetSamplingFrequency(44100);
  g->SetLength(300);
  g->SetPhaseUnits(puRad);
  g->Sounds()->AddTemplate("first");
  for (const auto& r : ParseFormula("sine(1000,0,1) square(50,0,0.1,0) +")) g->Template()->Add(r);
  g->Sounds()->AddTemplate("second");
  for (const auto& r : ParseFormula("triangle(300,10,2,0.25) constant(3) *")) g->Template()->Add(r);
  g->Update();
  const std::vector<double> want(g->Data().Data(), g->Data().Data() + 300);
  EXPECT_EQ(g->EditorClass(), "TSignalGenForm");

  TMemoryStream s;
  g->SaveToStream(s);
  TSignalGenerator copy(nullptr);
  s.SetPosition(0);
  copy.LoadFromStream(s);
  EXPECT_EQ(s.Position(), s.Size());
  copy.Update();  // same template, phase units and rate: the same samples
  EXPECT_EQ(std::vector<double>(copy.Data().Data(), copy.Data().Data() + 300), want);
  copy.Sounds()->SetTemplateIndex(0);
  EXPECT_EQ(FormatFormula(*copy.Template()), "sine(1000,0,1) square(50,0,0.10000000000000001) +");

  const std::string text = SaveComponentTreeToString(form);
  TComponent form2(nullptr);
  form2.SetName("Form1");
  LoadComponentTreeFromString(form2, text);
  auto* t = dynamic_cast<TSignalGenerator*>(form2.FindComponent("Gen"));
  ASSERT_NE(t, nullptr);
  t->Update();
  EXPECT_EQ(std::vector<double>(t->Data().Data(), t->Data().Data() + 300), want);
}

TEST(GeneratorList, AddItemMakesGenerators) {
  TSignalGeneratorList list(nullptr);
  list.SetCount(2);
  ASSERT_EQ(list.Count(), 2);
  ASSERT_NE(dynamic_cast<TSignalGenerator*>(list.Items(1)), nullptr);
  EXPECT_EQ(list.Items(0)->Owner(), &list);
}
