#include "sigflow/numeric/TwoSided.h"

#include <algorithm>

namespace sigflow {
namespace {

template <class T>
void Flip(std::span<T> v) {
  if (v.size() < 2) return;
  std::rotate(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(v.size() - v.size() / 2),
              v.end());
}

}  // namespace

void ConjFlip(std::span<std::complex<double>> spectrum) { Flip(spectrum); }
void ConjFlip(std::span<double> values) { Flip(values); }

void ConjExtend(std::span<std::complex<double>> spectrum) {
  const std::size_t n = spectrum.size();
  for (std::size_t k = 1; 2 * k < n; ++k) spectrum[n - k] = std::conj(spectrum[k]);
}

bool TwoSidedSpectrum(std::span<std::complex<double>> spectrum, bool complexInput, bool conjFlip,
                      bool conjExtend) {
  if (complexInput) {
    if (conjFlip) ConjFlip(spectrum);
    return false;
  }
  if (!conjExtend) return false;
  ConjExtend(spectrum);
  if (!conjFlip) ConjFlip(spectrum);
  return true;
}

}  // namespace sigflow
