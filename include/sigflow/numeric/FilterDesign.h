#pragma once
// Shared vocabulary of the filter design routines (FIR windowed, Parks-McClellan, IIR,
// smoothing and wavelet banks).
//
// Frequency conventions, used throughout unless a parameter says otherwise:
//  - "normalised" frequencies are relative to the Nyquist frequency: 0 is DC, 1 is fs/2
//    (the convention of scipy.signal's firwin/butter with fs = 2);
//  - Parks-McClellan takes frequencies in the unit of an explicit sampling frequency `Fs`
//    parameter (0 .. Fs/2), as scipy.signal.remez does.
#include <cstdint>
#include <string>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

// Any invalid argument or failed design of the filter design routines. The message states
// the violated condition.
class EFilterDesignError : public Exception {
public:
  using Exception::Exception;
  const char* ClassName() const noexcept override { return "EFilterDesignError"; }
};

// Parks-McClellan exchange that did not reach the equiripple optimum.
class ERemezConvergenceError : public EFilterDesignError {
public:
  using EFilterDesignError::EFilterDesignError;
  const char* ClassName() const noexcept override { return "ERemezConvergenceError"; }
};

// What a signal filter designs, in editor order ("Unit", "Fir", "Differentiator",
// "Differentiator 2x", "Integrator", "Integrator 2x", "Hilbert", "Iir", "Savitzky-Golay",
// "Moving average", "Median", "Envelope detector", "Wavelet").
enum TResponseType : std::uint8_t {
  rstUnit,
  rstFIR,
  rstDifferentiator,
  rstDoubleDifferentiator,
  rstIntegrator,
  rstDoubleIntegrator,
  rstHilbert,
  rstIIR,
  rstSavGolay,
  rstMovingAverage,
  rstMedian,
  rstEnvelope,
  rstWavelet,
};

// FIR design method: windowed sinc or Parks-McClellan ("Window", "Parks-McClellan").
enum TFirFilterMethod : std::uint8_t {
  fimWindow,
  fimParksMcClellan,
};

// Shape of the wanted response.
enum TFilterType : std::uint8_t {
  ftLowpass,
  ftHighpass,
  ftBandpass,
  ftBandstop,
  ftDifferentiator,
  ftHilbert,
};

// Window of the windowed FIR design, in the order of the filter editor. These are the
// symmetric (filter design) windows; analysis windows are periodic and live elsewhere.
enum TFirWindow : std::uint8_t {
  fwRectangular,
  fwHanning,
  fwHamming,
  fwFlatTop,
  fwBartlet,
  fwBlackman,
  fwBlackmanHarris,
  fwBlackmanExact,
  fwCosineTappered,
  fwKaiser,
  fwChebyshev,
};

// IIR design family, in editor order.
enum TIirMethod : std::uint8_t {
  imButterworth,
  imChebyshevI,
  imChebyshevII,
  imElliptic,
  imDcFilter,
  imNotch,
  imBessel,
};

// How the analog low-pass prototype is moved to the wanted bands, in editor order.
//  iftStateSpaceAnalog, iftZeroPoleAnalog: the band transform is applied to the analog
//    prototype (s -> s/w, w/s, (s^2+w0^2)/(B s), B s/(s^2+w0^2) with prewarped edges), then
//    the bilinear transform maps it to z. Both are computed on poles and zeros.
//  iftZeroPoleDiscrete: the prototype is first mapped to a digital low-pass by the bilinear
//    transform, then the digital all-pass substitution of z^-1 (Constantinides) moves it to
//    the bands, root by root.
// In exact arithmetic all three give the same filter.
enum TIirFrequencyTransform : std::uint8_t {
  iftStateSpaceAnalog,
  iftZeroPoleAnalog,
  iftZeroPoleDiscrete,
};

// Response type of the Parks-McClellan design (see remez()).
enum TRemezType : std::uint8_t {
  rmtMultiband,
  rmtDifferentiator,
  rmtDoubleDifferentiator,
  rmtIntegrator,
  rmtDoubleIntegrator,
  rmtHilbert,
};

// Wavelet family, in editor order.
enum TWaveletType : std::uint8_t {
  wvDaublet,
  wvCoiflet,
  wvSymlet,
  wvBSpline,
  wvBSplineDual,
  wvHaar,
  wvVaidyanathan,
  wvLinSpline,
  wvQuadSpline,
};

// Which half of a wavelet filter bank a filter belongs to.
enum TWaveletDecomp : std::uint8_t {
  wdApprox,
  wdDetail,
};

}  // namespace sigflow
