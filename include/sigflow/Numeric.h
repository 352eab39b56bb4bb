#pragma once
// Umbrella of the numeric foundation: vectors, matrices, FFT, windows, scalar helpers,
// random fills, PCM conversion and sample precisions.
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Math.h"
#include "sigflow/numeric/Pcm.h"
#include "sigflow/numeric/Precision.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Varn.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/numeric/Windows.h"
