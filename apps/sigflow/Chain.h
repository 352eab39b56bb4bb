#pragma once
// Component chains: the one `analyze` can save and the loader behind `run`.
#include <cstdint>
#include <string>

#include "SpectrumAnalysis.h"

namespace sigflow::cli {

// Writes the chain reader -> spectrum analyzer that repeats an analysis of channel 1 of
// record 0 of file with settings s over `frames` frames. Refuses settings the analyzer
// component cannot repeat.
void SaveAnalyzeChain(const std::string& path, const std::string& file, const TAnalysisSettings& s,
                      std::int64_t frames);
// Checks up front (before any work) what SaveAnalyzeChain would refuse.
void CheckAnalyzeChain(const TAnalysisSettings& s, int record, int channels, bool builtIn);

}  // namespace sigflow::cli
