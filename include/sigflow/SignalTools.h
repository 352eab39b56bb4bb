#pragma once
// Umbrella header of the signal tools: the analysis base and its update protocol, signals,
// spectra, marks, component lists, input collections and template streams.
#include "sigflow/tools/Analysis.h"
#include "sigflow/tools/AnalysisList.h"
#include "sigflow/tools/MarkList.h"
#include "sigflow/tools/Registration.h"
#include "sigflow/tools/Signal.h"
#include "sigflow/tools/SignalCollection.h"
#include "sigflow/tools/SignalList.h"
#include "sigflow/tools/Spectrum.h"
#include "sigflow/tools/SpectrumCollection.h"
#include "sigflow/tools/StreamTemplates.h"
#include "sigflow/tools/StreamedList.h"
#include "sigflow/tools/StringStreamList.h"
