#pragma once
// Spectral estimators: correlation, autoregressive models, phase unwrapping, two-sided
// spectrum helpers.
#include "sigflow/numeric/AutoRegressive.h"
#include "sigflow/numeric/Correlation.h"
#include "sigflow/numeric/Phase.h"
#include "sigflow/numeric/TwoSided.h"
