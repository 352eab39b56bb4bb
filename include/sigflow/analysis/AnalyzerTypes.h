#pragma once
// Enumerations shared by the spectrum analyzers of this unit, with their name tables.
#include <cstdint>
#include <string>

#include "sigflow/core/Properties.h"

namespace sigflow {

enum TSpectrumMethod : std::uint8_t { smFFT, smYuleWalker, smBurg, smCov, smMCov, smCZT, smRealCepstrum };
enum TLogType : std::uint8_t { ltAbsolute, ltRelative };
enum TLogSpan : std::uint8_t { ls30, ls45, ls60, ls90, ls120, ls150, ls200, ls350 };
enum TIntegration : std::uint8_t { inNone, inOnce, inTwice, diffOnce, diffTwice };
enum TPhaseRange : std::uint8_t { prPiPi, prZeroTwoPi };
// Kind of amplitude: peak amplitude, RMS, power, peak-to-peak, real and imaginary parts.
enum TSpectrumType : std::uint8_t { stAmplt, stRMS, stPower, stDoubleAmplt, stRealImag };
// avMinHoldInf keeps the smallest value per bin (appended so the other ordinals stay put).
enum TAveraging : std::uint8_t {
  avNone,
  avLinearInf,
  avExponentInf,
  avLinear,
  avPeakHold,
  avPeakHoldInf,
  avCplxLinear,
  avCplxLinearInf,
  avCplxExponentInf,
  avMinHoldInf,
};

const TEnumInfo& SpectrumMethodInfo();
const TEnumInfo& LogTypeInfo();
const TEnumInfo& LogSpanInfo();
const TEnumInfo& IntegrationInfo();
const TEnumInfo& PhaseRangeInfo();
const TEnumInfo& SpectrumTypeInfo();
const TEnumInfo& AveragingInfo();
const TEnumInfo& SignalWindowTypeInfo();
const TEnumInfo& RunningPhaseInfo();

// Display name of a method for the editors ("FFT", "Burg", ...).
std::string SpectrumMethodToString(TSpectrumMethod Method);
// Dynamic range in dB of a span value (ls30 -> 30 ... ls350 -> 350).
int LogSpanToDb(TLogSpan Span);

}  // namespace sigflow
