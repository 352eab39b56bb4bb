#pragma once
// A stand-in for the spectrum analyzer: owns a TSpectrum and answers the TPeakHost questions
// from fields the tests set.
#include <cmath>
#include <complex>
#include <vector>

#include "sigflow/analysis/PeakHost.h"
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/tools/Spectrum.h"

namespace sigflow::test {

class TTestPeakHost : public TPeakHost {
public:
  TSpectrum Spec{nullptr};
  TVec X;
  bool XValid = true;
  double ZeroPaddingRatio = 0;
  int Window = 0;
  int SpectrumType = 0;
  std::uint32_t Averaged = 0;
  // False: ConvergeToMaximum hands back the frequency it was given.
  bool Converge = true;

  TSpectrum& HostSpectrum() override { return Spec; }
  const TVec& HostComplexSpectrum() const override { return X; }
  bool HostComplexSpectrumValid() const override { return XValid; }
  double HostZeroPaddingRatio() const override { return ZeroPaddingRatio; }
  int HostWindow() const override { return Window; }
  int HostSpectrumType() const override { return SpectrumType; }
  std::uint32_t HostAveraged() const override { return Averaged; }
  double HostConvergeToMaximum(double Freq) override {
    if (!Converge) return Freq;
    const int i = static_cast<int>(std::lround((Freq - Spec.BandWidthL()) / Spec.HzRes()));
    return Spec.Amplt().NearestMaximum(i) * Spec.HzRes() + Spec.BandWidthL();
  }

  // Bins 0 .. n/2 - 1 of the transform of frame x, scaled so a sine of amplitude A peaks
  // near A; bin spacing fs / n.
  void SetFrame(const std::vector<double>& x, double fs) {
    const int n = static_cast<int>(x.size());
    std::vector<TCplx> f(static_cast<std::size_t>(n / 2 + 1));
    RealFFT(x, f);
    Spec.SetLength(n / 2);
    Spec.SetSamplingFrequency(fs);
    X.Size(n / 2, true);
    for (int k = 0; k < n / 2; ++k) {
      const TCplx c = f[static_cast<std::size_t>(k)] * (2.0 / n);
      X.SetCValues(k, c);
      Spec.Amplt().SetValues(k, std::abs(c));
      Spec.Phase().SetValues(k, std::arg(c));
    }
  }

  // Amplitudes given directly, bin spacing df, phases zero.
  void SetAmplitudes(const std::vector<double>& y, double df) {
    const int n = static_cast<int>(y.size());
    Spec.SetLength(n);
    Spec.SetSamplingFrequency(2 * df * n);
    X.Size(n, true);
    for (int k = 0; k < n; ++k) {
      Spec.Amplt().SetValues(k, y[static_cast<std::size_t>(k)]);
      Spec.Phase().SetValues(k, 0.0);
      X.SetCValues(k, y[static_cast<std::size_t>(k)]);
    }
  }
};

}  // namespace sigflow::test
