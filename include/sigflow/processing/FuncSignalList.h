#pragma once
// Formula lines of the signal generator and the list that stores them.
//
// A formula is an ordered list of lines read in postfix order: function lines (waveforms,
// noise, a constant, input signals) push an operand, operator lines combine the operands
// below them. TFuncSignalList is the working copy of a generator's template store.
//
// Stream image of a list: (Count + 1) records of 76 bytes. The first is a header, zero except
// for Count as a signed 32-bit little-endian integer at offset 71; then one record per line:
//   0 Active  1 OpType  2 FuncType  3 Operation  4 Complex  (one byte each)
//   5 Params P1..P7 (7 little-endian doubles)  61 Continuous  62 Resync
//   63 Values, 67 State (references: written as 4 zero bytes, ignored on reading)
//   71 SampleIndex (int32)  75 Computed
#include <cstdint>
#include <string>
#include <vector>

#include "sigflow/core/Streams.h"
#include "sigflow/tools/StreamedList.h"

namespace sigflow {

class TVec;
struct TFuncState;

enum TFuncSignalType : std::uint8_t {
  funSine, funImpulse, funUnitImpulse, funTriangle, funSquare, funRandGauss, funRandUniform,
  funChirp, funConstant, funInput0, funInput1, funInput2, funInput3, funInput4, funInput5,
  funInput6, funInput7, funNone
};

enum TOperSignalType : std::uint8_t {
  opAdd, opSub, opMul, opDiv, opSin, opCos, opTan, opExp, opLn, opLog, opNone
};

enum TOpType : std::uint8_t { optFunction, optOperator };

inline constexpr int FuncSignalRecordSize = 76;
inline constexpr int FuncSignalParamCount = 7;

// One formula line. In memory the references are pointers; the stream image is the 76-byte
// layout above.
struct TFuncSignalRecord {
  bool Active = true;
  TOpType OpType = optFunction;
  TFuncSignalType FuncType = funSine;
  TOperSignalType Operation = opAdd;
  bool Complex = false;
  double Params[FuncSignalParamCount] = {};
  bool Continuous = true;
  bool Resync = false;
  TVec* Values = nullptr;       // the line's working vector (owned by a generator slot)
  TFuncState* State = nullptr;  // live generator state, or none
  std::int32_t SampleIndex = 0;
  bool Computed = false;
};

// The 76 bytes of one record, field by field (references as zero bytes).
void WriteFuncSignalRecord(TStream& Stream, const TFuncSignalRecord& Record);
// Reads 76 bytes; the reference fields come back as none.
TFuncSignalRecord ReadFuncSignalRecord(TStream& Stream);

// Name conversions. The String... forms compare case-insensitively; unknown text gives
// funNone / opNone, unknown values "Unrecognized".
std::string FuncToString(TFuncSignalType Value);
TFuncSignalType StringToFunc(const std::string& Text);
std::string OpToString(TOperSignalType Value);
TOperSignalType StringToOp(const std::string& Text);

class TFuncSignalList : public TStreamedListOf<TFuncSignalRecord> {
public:
  // An owning list (a template) copies records in with Add; a list that does not own its
  // items (the evaluation stack) takes references with AddPointer.
  explicit TFuncSignalList(bool OwnsItems = true) : ownsItems_(OwnsItems) {}
  ~TFuncSignalList() override;

  bool OwnsItems() const { return ownsItems_; }
  // Copies Record in (owning lists only: ENoOperation "Operation not supported" otherwise).
  int Add(const TFuncSignalRecord& Record);
  // Adds a reference without copying (non-owning lists only).
  int AddPointer(TFuncSignalRecord* Record);
  // Always raises ENoOperation "Operation not supported".
  void SetItems(int Index, TFuncSignalRecord* Value);
  // Removes one line and, in an owning list, frees it.
  void Delete(int Index) override;

  void SaveToStream(TStream& Stream) override;
  // Clears, then reads the header and Count records. A count that is negative or larger than
  // the stream holds raises EReadError before anything is allocated.
  void LoadFromStream(TStream& Stream) override;

private:
  bool ownsItems_;
};

// Text form of a formula: lines separated by blanks, each a function with its parameters in
// parentheses or an operator, e.g. "sine(1000,0,1) square(50,0,0.1,0) +". Names are those
// StringToFunc / StringToOp accept (case ignored; "unit impulse" and "input 3" may also be
// written "unit_impulse", "input3"). Missing parameters are 0. A function name may carry the
// suffixes ":c" (complex) and ":once" (not continuous), e.g. "randgauss:once(0,1)".
// Bad text raises EConvertError naming the offending token.
std::vector<TFuncSignalRecord> ParseFormula(const std::string& Text);
// The text form of Lines (inactive lines are left out); ParseFormula reads it back.
std::string FormatFormula(const TFuncSignalList& Lines);

}  // namespace sigflow
