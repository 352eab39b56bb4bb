#pragma once
// Auto- and cross-correlation estimates of real and complex sequences, by direct summation
// (O(N x lags)).
//
// With N = x.size() and lags k = 0 .. r.size()-1:
//   raw[k]               = sum_{n=0}^{N-1-k} x[n+k] * conj(x[n])   (0 for k >= N)
//   AutoCorrBiased:   r[k] = raw[k] / N
//   AutoCorrUnBiased: r[k] = raw[k] / (N - k)                        (0 for k >= N)
//   AutoCorrNormal:   r[k] = raw[k] / raw[0]   so r[0] = 1           (all 0 if raw[0] = 0)
// raw[k] is numpy.correlate(x, x, "full")[N-1+k]. Negative lags follow from
// r[-k] = conj(r[k]).
//
// The span forms write every element of r and never allocate; the vector forms allocate
// their result. An empty x throws Exception "<Function>: Length = 0".
#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace sigflow {

void AutoCorrBiased(std::span<const double> x, std::span<double> r);
void AutoCorrBiased(std::span<const std::complex<double>> x, std::span<std::complex<double>> r);
void AutoCorrUnBiased(std::span<const double> x, std::span<double> r);
void AutoCorrUnBiased(std::span<const std::complex<double>> x, std::span<std::complex<double>> r);
void AutoCorrNormal(std::span<const double> x, std::span<double> r);
void AutoCorrNormal(std::span<const std::complex<double>> x, std::span<std::complex<double>> r);

// Lags 0 .. maxLag (maxLag + 1 values).
std::vector<double> AutoCorrBiased(std::span<const double> x, std::size_t maxLag);
std::vector<std::complex<double>> AutoCorrBiased(std::span<const std::complex<double>> x,
                                                 std::size_t maxLag);
std::vector<double> AutoCorrUnBiased(std::span<const double> x, std::size_t maxLag);
std::vector<std::complex<double>> AutoCorrUnBiased(std::span<const std::complex<double>> x,
                                                   std::size_t maxLag);
std::vector<double> AutoCorrNormal(std::span<const double> x, std::size_t maxLag);
std::vector<std::complex<double>> AutoCorrNormal(std::span<const std::complex<double>> x,
                                                 std::size_t maxLag);

// Biased cross-correlation for lags k = -negativeLags .. positiveLags:
//   r[negativeLags + k] = 1/M * sum_n x[n+k] * conj(y[n]),   M = max(x.size(), y.size()),
// summed over the n where both indices are in range (numpy.correlate(x, y, "full") at
// index y.size()-1+k, divided by M). r.size() must be negativeLags + positiveLags + 1
// (otherwise Exception "CrossCorr: r.size() <> NegativeLags + PositiveLags + 1"); an empty
// x or y throws "CrossCorr: Length = 0".
void CrossCorr(std::span<const double> x, std::span<const double> y, std::size_t negativeLags,
               std::size_t positiveLags, std::span<double> r);
void CrossCorr(std::span<const std::complex<double>> x, std::span<const std::complex<double>> y,
               std::size_t negativeLags, std::size_t positiveLags,
               std::span<std::complex<double>> r);
std::vector<double> CrossCorr(std::span<const double> x, std::span<const double> y,
                              std::size_t negativeLags, std::size_t positiveLags);
std::vector<std::complex<double>> CrossCorr(std::span<const std::complex<double>> x,
                                            std::span<const std::complex<double>> y,
                                            std::size_t negativeLags, std::size_t positiveLags);

}  // namespace sigflow
