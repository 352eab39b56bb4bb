#include "sigflow/processing/SignalGenerator.h"

#include <cmath>
#include <complex>
#include <functional>
#include <limits>

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Math.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Tone.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/numeric/Waveforms.h"
#include "sigflow/processing/GeneratorRegistration.h"
#include "sigflow/processing/SignalGeneratorList.h"
#include "sigflow/tools/SignalCollection.h"

namespace sigflow {

// The waveform states a slot may hold. One block per slot is made in the constructor; a
// line's State points at it while the line has a live tone, so restarting a line (every
// block for a line that is not continuous) allocates nothing.
struct TFuncState {
  TToneState Tone;
  TTriangleToneState Triangle;
  TSquareWaveState Square;
  TImpulseWaveState Impulse;
  TChirpState Chirp;
};

namespace {

const TEnumInfo& GeneratorPhaseUnitsInfo() {
  static const TEnumInfo info("TPhaseUnits", {"puRad", "puDeg"});
  return info;
}

// Real kernels write the first n doubles; a complex line gets them as real parts.
void SpreadToComplex(TVec& v) {
  double* d = v.Data();
  for (int i = v.Length() - 1; i >= 0; --i) {
    d[2 * i] = d[i];
    d[2 * i + 1] = 0.0;
  }
}

std::span<double> RealPart(TVec& v) { return {v.Data(), std::size_t(v.Length())}; }

// out[i] := f(x[i], y[i]). Unrolled by eight so that GCC -O2 vectorises it (as TVec's loops).
template <class F>
void CombineInto(double* __restrict out, const double* __restrict x, const double* __restrict y,
                 std::size_t n, F f) {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    double* __restrict ob = out + i;
    const double* __restrict xb = x + i;
    const double* __restrict yb = y + i;
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k) ob[k] = f(xb[k], yb[k]);
  }
  for (; i < n; ++i) out[i] = f(x[i], y[i]);
}

// Out := X op Y for two real vectors of one length, in one pass over memory.
void CombineReal(TVec& Out, const TVec& X, const TVec& Y, TOperSignalType Op) {
  Out.Size(X);
  double* o = Out.Data();
  const double* x = X.Data();
  const double* y = Y.Data();
  const std::size_t n = std::size_t(X.Length());
  switch (Op) {
    case opAdd: CombineInto(o, x, y, n, [](double a, double b) { return a + b; }); break;
    case opSub: CombineInto(o, x, y, n, [](double a, double b) { return a - b; }); break;
    case opMul: CombineInto(o, x, y, n, [](double a, double b) { return a * b; }); break;
    default: CombineInto(o, x, y, n, [](double a, double b) { return a / b; }); break;
  }
}

template <class F>
void ApplyInPlace(TVec& v, F f) {
  if (v.Complex()) {
    for (auto& c : v.CSpan()) c = f(c);
  } else {
    for (auto& x : v.Span()) x = f(x);
  }
}

}  // namespace

TSignalGenerator::TSignalGenerator(TComponent* AOwner) : TSignal(AOwner) {
  SetMultiChannel(true);
  sounds_ = std::make_unique<TSignalSounds>(this);
  for (int i = 0; i < MaxFuncStack; ++i) {
    vectors_[std::size_t(i)] = std::make_unique<TVec>();
    states_[std::size_t(i)] = std::make_unique<TFuncState>();
    TFuncSignalRecord& s = slots_[std::size_t(i)];
    s.Values = vectors_[std::size_t(i)].get();
    s.State = nullptr;
    s.Continuous = true;
  }
  SetUsesInputs(false);
}

TSignalGenerator::~TSignalGenerator() = default;

const TPropertyTable& TSignalGenerator::ClassProperties() {
  static const TPropertyTable table(&TSignal::ClassProperties(), {
      ObjectProperty("Sounds", &TSignalGenerator::Sounds),
      EnumProperty("PhaseUnits", &TSignalGenerator::PhaseUnits, &TSignalGenerator::SetPhaseUnits,
                   GeneratorPhaseUnitsInfo()),
      ObjectProperty("Inputs", &TAnalysis::Inputs),
  });
  return table;
}

void TSignalGenerator::SetSounds(TSignalSounds* Value) {
  if (Value) sounds_->Assign(Value);
}

TFuncSignalRecord& TSignalGenerator::Slots(int LineIndex) {
  if (LineIndex < 0 || LineIndex >= MaxFuncStack)
    throw EListError("List index out of bounds (" + std::to_string(LineIndex) + ")");
  return slots_[std::size_t(LineIndex)];
}

void TSignalGenerator::ResyncFunction(int LineIndex) {
  // The bound is deliberately loose: only LineIndex - 1 > Count is refused.
  if (LineIndex - 1 > Template()->Count()) throw Exception("(TemplateLineIndex-1) > Template.Count");
  if (LineIndex >= 0 && LineIndex < MaxFuncStack) slots_[std::size_t(LineIndex)].Resync = true;
  if (onResync_) onResync_(this, LineIndex);
}

void TSignalGenerator::ResyncAll() {
  for (int i = 0; i < Template()->Count(); ++i) ResyncFunction(i);
}

void TSignalGenerator::ResetStack() {
  stack_.ClearPointers();
  const int n = Template()->Count();
  if (n > MaxFuncStack) throw Exception("Max stack size = 21!");
  for (int i = 0; i < n; ++i) {
    TFuncSignalRecord& s = slots_[std::size_t(i)];
    if (!s.Active) continue;
    s.Computed = false;
    stack_.AddPointer(&s);
  }
}

void TSignalGenerator::Prepare() {
  if (prepared_) return;
  SetUsesInputs(false);
  const int n = Template()->Count();
  // A slot exists for 21 lines only; refuse before touching one that is not there.
  if (n > MaxFuncStack) throw Exception("Max stack size = 21!");
  for (int i = 0; i < n; ++i) PartialUpdate(i);
  if (UsesInputs()) {
    const int len = Inputs()->Items(0)->Input()->Length();
    for (auto& v : vectors_) v->SetLength(len);
  }
  preparedLength_ = Length();
  preparedFs_ = SamplingFrequency();
  prepared_ = true;
}

void TSignalGenerator::PartialUpdate(int LineIndex) {
  const TFuncSignalRecord& t = *Template()->Items(LineIndex);
  TFuncSignalRecord& s = Slots(LineIndex);
  s.Active = t.Active;
  s.OpType = t.OpType;
  ResetFuncs(s);
  if (s.OpType == optFunction) {
    s.FuncType = t.FuncType;
    s.Complex = t.Complex;
    s.Continuous = t.Continuous;
    for (int k = 0; k < FuncSignalParamCount; ++k) s.Params[k] = t.Params[k];
    s.Values->SetComplex(s.Complex);
    s.Values->SetLength(Length());
    InitFunc(s);
  } else {
    s.Operation = t.Operation;
    s.Values->SetLength(0);
  }
}

void TSignalGenerator::ResetFuncs(TFuncSignalRecord& Line) {
  switch (Line.FuncType) {
    case funSine:
    case funTriangle:
      Line.State = nullptr;
      break;
    case funImpulse:
    case funUnitImpulse:
    case funSquare:
    case funChirp:
      Line.SampleIndex = 0;
      break;
    case funRandGauss:
    case funRandUniform:
      ResetRand(*Line.Values);
      break;
    default:
      break;
  }
}

void TSignalGenerator::InitFunc(TFuncSignalRecord& Line) {
  const double fs = SamplingFrequency();
  if (fs == 0) throw Exception("SamplingFrequency = 0");
  const double* p = Line.Params;
  const double phase = DegToRad(p[1]);
  // The waveform state lives with the slot, so only slots can be started.
  const std::less<const TFuncSignalRecord*> before;
  if (before(&Line, slots_.data()) || !before(&Line, slots_.data() + slots_.size()))
    throw Exception("Line is not a slot of this generator");
  TFuncState& st = *states_[std::size_t(&Line - slots_.data())];
  switch (Line.FuncType) {
    case funSine:
      ToneInit(st.Tone, p[0], phase, std::abs(p[2]), fs, Line.Values->Complex());
      Line.State = &st;
      break;
    case funTriangle:
      TriangleToneInit(st.Triangle, p[0], phase, std::abs(p[2]), p[3], fs, Line.Values->Complex());
      Line.State = &st;
      break;
    case funImpulse:
      Line.SampleIndex = 0;
      ImpulseWaveInit(st.Impulse, p[0], p[1], p[2], p[3], p[4], DegToRad(p[5]), p[6], fs);
      Line.State = &st;
      break;
    case funUnitImpulse:
      Line.SampleIndex = 0;
      break;
    case funSquare:
      SquareWaveInit(st.Square, p[0], phase, p[2], p[3], fs);
      Line.State = &st;
      break;
    case funChirp:
      // The sweep spans one block: the period is the line's length.
      ChirpInit(st.Chirp, p[0], phase, p[2], p[3], p[4], p[5], p[6], std::max(1, Line.Values->Length()), fs);
      Line.State = &st;
      break;
    case funRandGauss:
      if (!Line.Continuous) RandGauss(*Line.Values, p[0], std::abs(p[1]), 999);
      break;
    case funRandUniform:
      if (!Line.Continuous) RandUniform(*Line.Values, p[0], p[1], 999);
      break;
    case funInput0: case funInput1: case funInput2: case funInput3:
    case funInput4: case funInput5: case funInput6: case funInput7: {
      const int k = Line.FuncType - funInput0;
      const int count = Inputs() ? Inputs()->Count() : 0;
      if (count < k + 1) throw Exception("i > Inputs.Count-1");
      SetUsesInputs(count > 0);
      break;
    }
    default:
      break;
  }
}

void TSignalGenerator::FillValues(TFuncSignalRecord& Line) {
  if (Line.OpType == optOperator) throw Exception("Formula error!");
  if (Line.Computed) return;
  if (!Line.Continuous || Line.Resync) {
    ResetFuncs(Line);
    InitFunc(Line);
    Line.Resync = false;
  }
  TVec& v = *Line.Values;
  const int n = v.Length();
  TFuncState* st = Line.State;
  const double* p = Line.Params;
  switch (Line.FuncType) {
    case funSine:
    case funTriangle: {
      if (!st) throw Exception("Formula error!");
      if (Line.FuncType == funSine) {
        if (v.Complex()) Tone(st->Tone, v.CSpan()); else Tone(st->Tone, v.Span());
      } else {
        if (v.Complex()) TriangleTone(st->Triangle, v.CSpan()); else TriangleTone(st->Triangle, v.Span());
      }
      // Above half the sampling frequency a complex tone is the negative frequency; show
      // the mirrored positive one, as a real line's spectrum does.
      if (v.Complex() && CircularFrequency(p[0] / SamplingFrequency()) > 0.5) v.Conj();
      break;
    }
    case funImpulse:
      if (!st) throw Exception("Formula error!");
      st->Impulse.SampleIndex = Line.SampleIndex;
      ImpulseWave(st->Impulse, RealPart(v));
      if (v.Complex()) SpreadToComplex(v);
      break;
    case funUnitImpulse:
      v.SetZero();
      if (n > 0) {
        if (v.Complex()) v.SetCValues(n / 2, TCplx(1.0, 0.0)); else v.SetValues(n / 2, 1.0);
      }
      break;
    case funSquare:
      if (!st) throw Exception("Formula error!");
      st->Square.SampleIndex = Line.SampleIndex;
      SquareWave(st->Square, RealPart(v));
      if (v.Complex()) SpreadToComplex(v);
      break;
    case funChirp:
      if (!st) throw Exception("Formula error!");
      if (st->Chirp.Period != std::max(1, n))
        ChirpInit(st->Chirp, p[0], DegToRad(p[1]), p[2], p[3], p[4], p[5], p[6], std::max(1, n), SamplingFrequency());
      st->Chirp.SampleIndex = Line.SampleIndex;
      Chirp(st->Chirp, RealPart(v));
      if (v.Complex()) SpreadToComplex(v);
      break;
    case funRandGauss:
      // A line that is not continuous was filled from the fixed seed by InitFunc just now.
      if (Line.Continuous) RandGauss(v, p[0], std::abs(p[1]));
      break;
    case funRandUniform:
      if (Line.Continuous) RandUniform(v, p[0], p[1]);
      break;
    case funConstant:
      if (v.Complex()) {
        for (auto& c : v.CSpan()) c = TCplx(p[0], p[1]);
      } else {
        for (auto& x : v.Span()) x = p[0];
      }
      break;
    case funInput0: case funInput1: case funInput2: case funInput3:
    case funInput4: case funInput5: case funInput6: case funInput7: {
      const int k = Line.FuncType - funInput0;
      TSignal* in = (Inputs() && k < Inputs()->Count()) ? Inputs()->Items(k)->Input() : nullptr;
      if (!in) throw Exception("i > Inputs.Count-1");
      v.Copy(in->Data());
      break;
    }
    default:
      break;
  }
  // The count wraps on purpose before it could overflow 32 bits.
  const std::int64_t next = std::int64_t(Line.SampleIndex) + n;
  if (Line.SampleIndex >= SampleIndexWrap || next > std::numeric_limits<std::int32_t>::max())
    Line.SampleIndex = 0;
  else
    Line.SampleIndex = std::int32_t(next);
}

void TSignalGenerator::Compute() {
  computeMessage_.clear();
  bool resultInData = false;
  try {
    if (stack_.Count() == 1) {
      FillValues(*stack_.Items(0));
    } else {
      int passes = 0;
      while (stack_.Count() >= 2 && passes < 30) {
        ++passes;
        const int n = stack_.Count();
        int i = 0;
        while (i < n && stack_.Items(i)->OpType != optOperator) ++i;
        if (i >= n) {
          prepared_ = false;
          computeMessage_ = "Invalid expression: Missing operator!";
          throw Exception(computeMessage_);
        }
        TFuncSignalRecord& op = *stack_.Items(i);
        switch (op.Operation) {
          case opAdd: case opSub: case opMul: case opDiv: {
            TFuncSignalRecord& a = *stack_.Items(i - 2);
            TFuncSignalRecord& b = *stack_.Items(i - 1);
            FillValues(a);
            FillValues(b);
            TVec& x = *a.Values;
            TVec& y = *b.Values;
            // The last operator writes the result straight into the output: no copy after.
            if (n == 3 && !x.Complex() && !y.Complex() && x.Length() == y.Length() && &x != &y) {
              CombineReal(Data(), x, y, op.Operation);
              resultInData = true;
            } else if (op.Operation == opAdd) a.Values->Add(*b.Values);
            else if (op.Operation == opSub) a.Values->Sub(*b.Values);
            else if (op.Operation == opMul) a.Values->Mul(*b.Values);
            else a.Values->Divide(*b.Values);
            a.Computed = true;
            stack_.Delete(i - 1);
            stack_.Delete(i - 1);
            break;
          }
          case opSin: case opCos: case opTan: case opExp: case opLn: case opLog: {
            TFuncSignalRecord& a = *stack_.Items(i - 1);
            FillValues(a);
            TVec& v = *a.Values;
            switch (op.Operation) {
              case opSin: ApplyInPlace(v, [](auto x) { return std::sin(x); }); break;
              case opCos: ApplyInPlace(v, [](auto x) { return std::cos(x); }); break;
              case opTan: ApplyInPlace(v, [](auto x) { return std::tan(x); }); break;
              case opExp: ApplyInPlace(v, [](auto x) { return std::exp(x); }); break;
              case opLn: ApplyInPlace(v, [](auto x) { return std::log(x); }); break;
              default: ApplyInPlace(v, [](auto x) { return std::log10(x); }); break;
            }
            a.Computed = true;
            stack_.Delete(i);
            break;
          }
          default:
            break;
        }
      }
      if (passes >= 30) {
        prepared_ = false;
        computeMessage_ = "Expression stack size limit exceeded!";
        throw Exception(computeMessage_);
      }
    }
    if (stack_.Count() > 0 && !resultInData) Data().Copy(*stack_.Items(0)->Values);
  } catch (...) {
    if (computeMessage_.empty()) computeMessage_ = "Invalid expression!";
    Data().SetZero();
  }
}

bool TSignalGenerator::InternalUpdate() {
  // A new length or sampling frequency needs the slots made again.
  if (prepared_ && (SamplingFrequency() != preparedFs_ ||
                    (!UsesInputs() && Length() != preparedLength_) ||
                    (UsesInputs() && Inputs()->Items(0)->Input()->Length() != vectors_[0]->Length())))
    prepared_ = false;
  Prepare();
  if (!UsesInputs() && Length() == 0) throw Exception("Length = 0");
  ResetStack();
  Compute();
  return true;
}

void TSignalGenerator::InternalParamUpdate(TObject* Sender) {
  TSignal::InternalParamUpdate(Sender);
  prepared_ = false;
}

void TSignalGenerator::SaveToStream(TStream& Stream) {
  TSignal::SaveToStream(Stream);
  sounds_->SaveToStream(Stream);
}

void TSignalGenerator::LoadFromStream(TStream& Stream) {
  TSignal::LoadFromStream(Stream);
  sounds_->LoadFromStream(Stream);
  prepared_ = false;
}

TAnalysis* TSignalGeneratorList::AddItem() { return new TSignalGenerator(this); }

void RegisterSignalGeneratorClasses() {
  RegisterComponentClass<TSignalGenerator>("TSignalGenerator");
  RegisterComponentClass<TSignalGeneratorList>("TSignalGeneratorList");
}

namespace {
const bool registered = (RegisterSignalGeneratorClasses(), true);
}  // namespace

}  // namespace sigflow
