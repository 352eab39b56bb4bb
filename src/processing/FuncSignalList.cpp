#include "sigflow/processing/FuncSignalList.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sstream>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

namespace {

constexpr int OffsetParams = 5;
constexpr int OffsetContinuous = 61;
constexpr int OffsetResync = 62;
constexpr int OffsetSampleIndex = 71;
constexpr int OffsetComputed = 75;

template <class T>
void Put(std::uint8_t* Dst, T Value) {
  // Little-endian on every host: go through the integer image byte by byte.
  std::uint64_t bits = 0;
  std::memcpy(&bits, &Value, sizeof(T));
  for (std::size_t i = 0; i < sizeof(T); ++i) Dst[i] = static_cast<std::uint8_t>(bits >> (8 * i));
}

template <class T>
T Get(const std::uint8_t* Src) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) bits |= std::uint64_t(Src[i]) << (8 * i);
  T value;
  std::memcpy(&value, &bits, sizeof(T));
  return value;
}

void EncodeRecord(std::uint8_t* b, const TFuncSignalRecord& r) {
  std::memset(b, 0, FuncSignalRecordSize);
  b[0] = r.Active ? 1 : 0;
  b[1] = r.OpType;
  b[2] = r.FuncType;
  b[3] = r.Operation;
  b[4] = r.Complex ? 1 : 0;
  for (int k = 0; k < FuncSignalParamCount; ++k) Put(b + OffsetParams + 8 * k, r.Params[k]);
  b[OffsetContinuous] = r.Continuous ? 1 : 0;
  b[OffsetResync] = r.Resync ? 1 : 0;
  Put(b + OffsetSampleIndex, r.SampleIndex);
  b[OffsetComputed] = r.Computed ? 1 : 0;
}

TFuncSignalRecord DecodeRecord(const std::uint8_t* b) {
  TFuncSignalRecord r;
  r.Active = b[0] != 0;
  r.OpType = static_cast<TOpType>(b[1]);
  r.FuncType = static_cast<TFuncSignalType>(b[2]);
  r.Operation = static_cast<TOperSignalType>(b[3]);
  r.Complex = b[4] != 0;
  for (int k = 0; k < FuncSignalParamCount; ++k) r.Params[k] = Get<double>(b + OffsetParams + 8 * k);
  r.Continuous = b[OffsetContinuous] != 0;
  r.Resync = b[OffsetResync] != 0;
  r.SampleIndex = Get<std::int32_t>(b + OffsetSampleIndex);
  r.Computed = b[OffsetComputed] != 0;
  return r;
}

std::string Lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return s;
}

const char* const FuncNames[] = {"Sine",  "Impulse", "Unit impulse", "Triangle", "Square",  "RandGauss",
                                 "RandUniform", "Chirp", "Constant", "Input 0",  "Input 1", "Input 2",
                                 "Input 3", "Input 4", "Input 5",  "Input 6", "Input 7"};
const char* const OpNames[] = {"+", "-", "*", "/", "Sin", "Cos", "Tan", "Exp", "Ln", "Log"};

}  // namespace

void WriteFuncSignalRecord(TStream& Stream, const TFuncSignalRecord& Record) {
  std::uint8_t b[FuncSignalRecordSize];
  EncodeRecord(b, Record);
  Stream.WriteBuffer(b, FuncSignalRecordSize);
}

TFuncSignalRecord ReadFuncSignalRecord(TStream& Stream) {
  std::uint8_t b[FuncSignalRecordSize];
  Stream.ReadBuffer(b, FuncSignalRecordSize);
  return DecodeRecord(b);
}

std::string FuncToString(TFuncSignalType Value) {
  return Value < funNone ? FuncNames[Value] : "Unrecognized";
}

TFuncSignalType StringToFunc(const std::string& Text) {
  const std::string s = Lower(Text);
  for (int i = 0; i < funNone; ++i)
    if (s == Lower(FuncNames[i])) return static_cast<TFuncSignalType>(i);
  return funNone;
}

std::string OpToString(TOperSignalType Value) { return Value < opNone ? OpNames[Value] : "Unrecognized"; }

TOperSignalType StringToOp(const std::string& Text) {
  const std::string s = Lower(Text);
  for (int i = 0; i < opNone; ++i)
    if (s == Lower(OpNames[i])) return static_cast<TOperSignalType>(i);
  return opNone;
}

TFuncSignalList::~TFuncSignalList() { Clear(); }

int TFuncSignalList::Add(const TFuncSignalRecord& Record) {
  if (!ownsItems_) throw ENoOperation("Operation not supported");
  auto* copy = new TFuncSignalRecord(Record);
  try {
    return TStreamedListOf<TFuncSignalRecord>::Add(copy);
  } catch (...) {
    delete copy;
    throw;
  }
}

int TFuncSignalList::AddPointer(TFuncSignalRecord* Record) {
  if (ownsItems_) throw ENoOperation("Operation not supported");
  return TStreamedListOf<TFuncSignalRecord>::Add(Record);
}

void TFuncSignalList::SetItems(int, TFuncSignalRecord*) { throw ENoOperation("Operation not supported"); }

void TFuncSignalList::Delete(int Index) {
  TFuncSignalRecord* item = Items(Index);
  TStreamedListOf<TFuncSignalRecord>::Delete(Index);
  if (ownsItems_) delete item;
}

void TFuncSignalList::SaveToStream(TStream& Stream) {
  const int n = Count();
  std::vector<std::uint8_t> image(std::size_t(n + 1) * FuncSignalRecordSize, 0);
  Put(image.data() + OffsetSampleIndex, std::int32_t(n));
  for (int i = 0; i < n; ++i) EncodeRecord(image.data() + std::size_t(i + 1) * FuncSignalRecordSize, *Items(i));
  Stream.WriteBuffer(image.data(), std::int64_t(image.size()));
}

void TFuncSignalList::LoadFromStream(TStream& Stream) {
  Clear();
  std::uint8_t header[FuncSignalRecordSize];
  Stream.ReadBuffer(header, FuncSignalRecordSize);
  const std::int32_t count = Get<std::int32_t>(header + OffsetSampleIndex);
  if (count < 0) throw EReadError("Invalid line count: " + std::to_string(count));
  const std::int64_t left = Stream.Size() - Stream.Position();
  if (std::int64_t(count) * FuncSignalRecordSize > left)
    throw EReadError("Line count " + std::to_string(count) + " exceeds the " + std::to_string(left) +
                     " bytes left in the stream");
  for (std::int32_t i = 0; i < count; ++i) Add(ReadFuncSignalRecord(Stream));
}

// ---- text form ----

namespace {

std::string ToName(std::string s) {
  // Blanks inside names are written as '_' or left out in the text form.
  std::replace(s.begin(), s.end(), '_', ' ');
  s = Lower(s);
  if (s == "unitimpulse") return "unit impulse";
  if (s.size() == 6 && s.compare(0, 5, "input") == 0) return "input " + s.substr(5);
  return s;
}

double ToNumber(const std::string& Text, const std::string& Token) {
  try {
    std::size_t used = 0;
    std::string t = Text;
    t.erase(std::remove_if(t.begin(), t.end(), [](unsigned char c) { return std::isspace(c); }), t.end());
    if (t.empty()) return 0.0;
    const double v = std::stod(t, &used);
    if (used != t.size()) throw EConvertError("");
    return v;
  } catch (...) {
    throw EConvertError("Invalid number '" + Text + "' in formula line '" + Token + "'");
  }
}

}  // namespace

std::vector<TFuncSignalRecord> ParseFormula(const std::string& Text) {
  std::vector<TFuncSignalRecord> lines;
  std::size_t i = 0;
  while (i < Text.size()) {
    if (std::isspace(static_cast<unsigned char>(Text[i]))) {
      ++i;
      continue;
    }
    // A token runs to the next blank outside parentheses.
    std::size_t j = i;
    int depth = 0;
    while (j < Text.size() && (depth > 0 || !std::isspace(static_cast<unsigned char>(Text[j])))) {
      if (Text[j] == '(') ++depth;
      if (Text[j] == ')' && --depth < 0) break;
      ++j;
    }
    const std::string token = Text.substr(i, j - i);
    if (depth != 0 || (j < Text.size() && Text[j] == ')')) throw EConvertError("Unbalanced parentheses in formula line '" + token + "'");
    i = j;

    TFuncSignalRecord r;
    const std::size_t open = token.find('(');
    std::string head = token.substr(0, open);
    if (open == std::string::npos) {
      const TOperSignalType op = StringToOp(head);
      if (op != opNone) {
        r.OpType = optOperator;
        r.FuncType = funNone;
        r.Operation = op;
        lines.push_back(r);
        continue;
      }
    }
    // Function line with optional suffixes.
    std::string name = head;
    std::size_t colon = name.find(':');
    std::string suffixes = colon == std::string::npos ? "" : Lower(name.substr(colon));
    if (colon != std::string::npos) name.erase(colon);
    const TFuncSignalType fn = StringToFunc(ToName(name));
    if (fn == funNone && Lower(name) != "none") throw EConvertError("Unknown formula line '" + token + "'");
    r.OpType = optFunction;
    r.FuncType = fn;
    r.Operation = opNone;
    while (!suffixes.empty()) {
      const std::size_t next = suffixes.find(':', 1);
      const std::string s = suffixes.substr(0, next);
      if (s == ":c") r.Complex = true;
      else if (s == ":once") r.Continuous = false;
      else throw EConvertError("Unknown option '" + s + "' in formula line '" + token + "'");
      suffixes = next == std::string::npos ? "" : suffixes.substr(next);
    }
    if (open != std::string::npos) {
      if (token.back() != ')') throw EConvertError("Text after ')' in formula line '" + token + "'");
      const std::string args = token.substr(open + 1, token.size() - open - 2);
      int k = 0;
      std::size_t p = 0;
      if (!args.empty()) {
        while (true) {
          const std::size_t comma = args.find(',', p);
          if (k >= FuncSignalParamCount) throw EConvertError("More than 7 parameters in formula line '" + token + "'");
          r.Params[k++] = ToNumber(args.substr(p, comma - p), token);
          if (comma == std::string::npos) break;
          p = comma + 1;
        }
      }
    }
    lines.push_back(r);
  }
  return lines;
}

std::string FormatFormula(const TFuncSignalList& Lines) {
  std::ostringstream out;
  out.precision(17);
  bool first = true;
  for (int i = 0; i < Lines.Count(); ++i) {
    const TFuncSignalRecord& r = *Lines.Items(i);
    if (!r.Active) continue;
    if (!first) out << ' ';
    first = false;
    if (r.OpType == optOperator) {
      out << Lower(OpToString(r.Operation));
      continue;
    }
    std::string name = r.FuncType < funNone ? Lower(FuncToString(r.FuncType)) : "none";
    std::replace(name.begin(), name.end(), ' ', '_');
    out << name << (r.Complex ? ":c" : "") << (r.Continuous ? "" : ":once");
    int used = FuncSignalParamCount;
    while (used > 0 && r.Params[used - 1] == 0.0) --used;
    if (used > 0) {
      out << '(';
      for (int k = 0; k < used; ++k) out << (k ? "," : "") << r.Params[k];
      out << ')';
    }
  }
  return out.str();
}

}  // namespace sigflow
