#pragma once
#include <benchmark/benchmark.h>

// Peer of the sine generators: out[i] = A sin(w i + phi) with std::sin and the running sample
// index, 1 kHz at 48 kHz, blocks of state.range(0) samples.
void SineStdSinLoop(benchmark::State& state);
