#include "sigflow/analysis/AnalyzerTypes.h"

namespace sigflow {

const TEnumInfo& SpectrumMethodInfo() {
  static const TEnumInfo info("TSpectrumMethod",
                              {"smFFT", "smYuleWalker", "smBurg", "smCov", "smMCov", "smCZT", "smRealCepstrum"});
  return info;
}

const TEnumInfo& LogTypeInfo() {
  static const TEnumInfo info("TLogType", {"ltAbsolute", "ltRelative"});
  return info;
}

const TEnumInfo& LogSpanInfo() {
  static const TEnumInfo info("TLogSpan", {"ls30", "ls45", "ls60", "ls90", "ls120", "ls150", "ls200", "ls350"});
  return info;
}

const TEnumInfo& IntegrationInfo() {
  static const TEnumInfo info("TIntegration", {"inNone", "inOnce", "inTwice", "diffOnce", "diffTwice"});
  return info;
}

const TEnumInfo& PhaseRangeInfo() {
  static const TEnumInfo info("TPhaseRange", {"prPiPi", "prZeroTwoPi"});
  return info;
}

const TEnumInfo& SpectrumTypeInfo() {
  static const TEnumInfo info("TSpectrumType", {"stAmplt", "stRMS", "stPower", "stDoubleAmplt", "stRealImag"});
  return info;
}

const TEnumInfo& AveragingInfo() {
  static const TEnumInfo info("TAveraging", {"avNone", "avLinearInf", "avExponentInf", "avLinear", "avPeakHold",
                                             "avPeakHoldInf", "avCplxLinear", "avCplxLinearInf",
                                             "avCplxExponentInf", "avMinHoldInf"});
  return info;
}

const TEnumInfo& SignalWindowTypeInfo() {
  static const TEnumInfo info("TSignalWindowType",
                              {"wtRectangular", "wtHanning", "wtHamming", "wtFlatTop", "wtBartlett", "wtBlackman",
                               "wtBlackmanHarris", "wtExactBlackman", "wtCosineTapered", "wtKaiser", "wtChebyshev",
                               "wtExponential"});
  return info;
}

const TEnumInfo& RunningPhaseInfo() {
  static const TEnumInfo info("TRunningPhase", {"rpDefault", "rpConstPhase", "rpIntLag", "rpPartial"});
  return info;
}

std::string SpectrumMethodToString(TSpectrumMethod Method) {
  switch (Method) {
    case smFFT: return "FFT";
    case smYuleWalker: return "Yule-Walker";
    case smBurg: return "Burg";
    case smCov: return "Covariance";
    case smMCov: return "Modified covariance";
    case smCZT: return "Chirp-Z";
    case smRealCepstrum: return "Real cepstrum";
  }
  return "";
}

int LogSpanToDb(TLogSpan Span) {
  static constexpr int db[] = {30, 45, 60, 90, 120, 150, 200, 350};
  return Span <= ls350 ? db[Span] : 120;
}

}  // namespace sigflow
