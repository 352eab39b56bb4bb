#pragma once
// Umbrella of the analysis unit: the spectrum analyzer with averaging and chirp-z zoom, its
// peak and band analyzers, and the analyzer list.
#include "sigflow/analysis/AnalyzerTypes.h"
#include "sigflow/analysis/PeakHost.h"
#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/analysis/SpectrumAnalyzerList.h"
#include "sigflow/analysis/SpectrumBands.h"
#include "sigflow/analysis/SpectrumBandsAnalyzer.h"
#include "sigflow/analysis/SpectrumCZT.h"
#include "sigflow/analysis/SpectrumPeakInterpolation.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
