#pragma once
// Umbrella of the processing unit: the signal generator and its formula language, filter
// band templates, the streaming filter component, buffers and channel (de)multiplexers.
#include "sigflow/processing/BandFilterList.h"
#include "sigflow/processing/BufferRegistration.h"
#include "sigflow/processing/FilterList.h"
#include "sigflow/processing/FuncSignalList.h"
#include "sigflow/processing/GeneratorRegistration.h"
#include "sigflow/processing/SignalFilter.h"
#include "sigflow/processing/SignalFilterList.h"
#include "sigflow/processing/SignalBuffer.h"
#include "sigflow/processing/SignalDecBuffer.h"
#include "sigflow/processing/SignalDemux.h"
#include "sigflow/processing/SignalGenerator.h"
#include "sigflow/processing/SignalGeneratorList.h"
#include "sigflow/processing/SignalIncBuffer.h"
#include "sigflow/processing/SignalMux.h"
#include "sigflow/processing/SignalSounds.h"
