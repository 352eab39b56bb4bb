#pragma once
// Autoregressive (all-pole) model estimators for real and complex sequences.
//
// Model and sign convention: a model of order p is the polynomial A = [1, a1, ..., ap]
// (always p + 1 values, A[0] = 1) with
//     x[n] + a1 x[n-1] + ... + ap x[n-p] = e[n],
// e white with variance NoiseVariance. Its spectrum is NoiseVariance / |A(e^{j 2 pi f})|^2
// (see ArSpectrum). The polynomial form is what a caller zero-pads and transforms.
//
// Reflection coefficients k1..kp use the same sign: at order m the step-up recursion is
//     a_m[j] = a_{m-1}[j] + k_m conj(a_{m-1}[m-j]),  a_m[m] = k_m,
// and the prediction error power shrinks by (1 - |k_m|^2).
//
// Allocation: the span forms of Levinson and ArBurg write into caller-owned buffers and never
// allocate (they are meant for per-frame use). The TArModel forms, ArCovariance,
// ArMCovariance and ArYuleWalker allocate their result and work matrices.
//
// Errors are Exception with a message naming the function and the violated condition.
#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace sigflow {

template <class T>
struct TArModel {
  std::vector<T> A;           // [1, a1, ..., ap]
  std::vector<T> Reflection;  // k1..kp; empty for the covariance methods
  double NoiseVariance = 0.0;  // variance of e[n]
};

// Levinson-Durbin: solves the Yule-Walker equations
//     sum_{j=0}^{p} a_j r[i-j] = 0,  i = 1..p,   r[-k] = conj(r[k]),
// for the autocorrelation r[0..p] (p + 1 values; order p = r.size() - 1).
// Writes A (a.size() == r.size()) and, if reflection is not empty, k1..kp
// (reflection.size() == p). Returns the prediction error power
// r[0] + sum_{j=1}^{p} a_j conj(r[j]). Where the error power reaches 0 (a perfectly
// predictable sequence, or r[0] = 0) the remaining reflection coefficients are 0.
// Throws "Levinson: Length = 0", "Levinson: a.size() <> r.size()",
// "Levinson: reflection.size() <> Order", "Levinson: r[0] < 0".
double Levinson(std::span<const double> r, std::span<double> a, std::span<double> reflection);
double Levinson(std::span<const std::complex<double>> r, std::span<std::complex<double>> a,
                std::span<std::complex<double>> reflection);
TArModel<double> Levinson(std::span<const double> r);
TArModel<std::complex<double>> Levinson(std::span<const std::complex<double>> r);

// Burg's method: reflection coefficients that minimise the summed forward and backward
// prediction error power of x at each order,
//     k_m = -2 sum f[n] conj(b[n-1]) / sum (|f[n]|^2 + |b[n-1]|^2),   n = m .. N-1.
// NoiseVariance = (sum |x|^2 / N) * prod (1 - |k_m|^2).
// Order p = a.size() - 1 must be < N = x.size(); work must hold 2 N elements and is
// overwritten. reflection is empty or of size p. Returns NoiseVariance.
// Throws "ArBurg: Length = 0", "ArBurg: Order (p) >= Length (N)",
// "ArBurg: a.size() = 0", "ArBurg: reflection.size() <> Order",
// "ArBurg: work.size() < 2 * Length".
double ArBurg(std::span<const double> x, std::span<double> a, std::span<double> reflection,
              std::span<double> work);
double ArBurg(std::span<const std::complex<double>> x, std::span<std::complex<double>> a,
              std::span<std::complex<double>> reflection, std::span<std::complex<double>> work);
TArModel<double> ArBurg(std::span<const double> x, std::size_t order);
TArModel<std::complex<double>> ArBurg(std::span<const std::complex<double>> x, std::size_t order);

// Covariance method: least squares over the forward prediction errors that need no sample
// outside x,
//     minimise sum_{n=p}^{N-1} |x[n] + sum_j a_j x[n-j]|^2,
// NoiseVariance = that minimum / (N - p).
// Modified covariance (forward-backward): adds the backward errors
//     b[n] = x[n-p] + sum_j conj(a_j) x[n-p+j],   n = p .. N-1,
// and NoiseVariance = minimum / (2 (N - p)).
// Both need 2 p <= N; otherwise "ArCovariance: Order (p) > Length div 2 (N/2)" (resp.
// ArMCovariance); empty x throws "<Function>: Length = 0". The normal equations are solved
// by Cholesky; a singular system (silence, or fewer spectral lines than the order) gets a
// diagonal loading of 1e-10 of its largest diagonal element so a finite model results.
TArModel<double> ArCovariance(std::span<const double> x, std::size_t order);
TArModel<std::complex<double>> ArCovariance(std::span<const std::complex<double>> x,
                                            std::size_t order);
TArModel<double> ArMCovariance(std::span<const double> x, std::size_t order);
TArModel<std::complex<double>> ArMCovariance(std::span<const std::complex<double>> x,
                                             std::size_t order);

// Yule-Walker: biased autocorrelation of lags 0..p (AutoCorrBiased) followed by Levinson.
// Order p may equal N (the lags beyond N-1 are 0). Throws "ArYuleWalker: Length = 0",
// "ArYuleWalker: Order (p) > Length (N)".
TArModel<double> ArYuleWalker(std::span<const double> x, std::size_t order);
TArModel<std::complex<double>> ArYuleWalker(std::span<const std::complex<double>> x,
                                            std::size_t order);

// Power spectral density of the model on K = psd.size() uniform frequencies:
//     psd[k] = noiseVariance / |sum_{m=0}^{p} a[m] e^{-j 2 pi k m / K}|^2,   k = 0..K-1,
// i.e. frequency f = k / K in cycles per sample over [0, 1): a two-sided density per unit
// normalised frequency, so the mean of psd over a fine grid is the process variance.
// Never allocates. Throws "ArSpectrum: a.size() = 0".
void ArSpectrum(std::span<const double> a, double noiseVariance, std::span<double> psd);
void ArSpectrum(std::span<const std::complex<double>> a, double noiseVariance,
                std::span<double> psd);

}  // namespace sigflow
