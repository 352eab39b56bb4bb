#pragma once
// TVec: a vector of double-precision samples, real or complex.
//
// Storage is one block of doubles, 64-byte aligned: a real vector of length N uses N doubles,
// a complex one 2N (interleaved re, im). Length() always counts elements. Capacity is kept
// when a vector shrinks or changes its complex flag, and growth is amortised, so a vector
// that returns to a size it had before allocates nothing.
//
// Element-wise operations between two vectors need equal lengths (else Exception
// "TVec: lengths differ (A <> B)"). Mixing kinds: when the argument is complex and this
// vector is real, this vector becomes complex first; a real argument acts on a complex vector
// as a complex one with zero imaginary parts. Ranges (index, len) must lie inside the vector
// (else Exception "TVec: range out of bounds").
//
// FFT scaling everywhere: the forward transform is unscaled, X[k] = sum_n x[n] e^{-2 pi i kn/N};
// the inverse is scaled by 1/N, x[n] = (1/N) sum_k X[k] e^{+2 pi i kn/N}.
#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <span>
#include <string>
#include <vector>

#include "sigflow/core/Object.h"
#include "sigflow/numeric/Precision.h"
#include "sigflow/numeric/Random.h"

namespace sigflow {

class TStream;

// Allocator that aligns every block to 64 bytes (cache lines, AVX-512, FFTW's SIMD paths).
template <class T>
struct TAlignedAllocator {
  using value_type = T;
  static constexpr std::size_t Alignment = 64;
  TAlignedAllocator() noexcept = default;
  template <class U>
  TAlignedAllocator(const TAlignedAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) {
    return static_cast<T*>(::operator new(n * sizeof(T), std::align_val_t{Alignment}));
  }
  void deallocate(T* p, std::size_t) noexcept { ::operator delete(p, std::align_val_t{Alignment}); }
  template <class U>
  bool operator==(const TAlignedAllocator<U>&) const noexcept { return true; }
};

// Sender is the vector whose length changed.
using TVecLengthEvent = std::function<void(TObject* Sender)>;

class TVec : public TObject {
public:
  TVec() = default;
  // A vector of length elements, all zero.
  explicit TVec(int length, bool complex = false);
  // Copies values, complex flag and random stream; the OnSetLength handler is not copied.
  TVec(const TVec& src);
  TVec& operator=(const TVec& src);
  TVec(TVec&& src) noexcept;
  TVec& operator=(TVec&& src) noexcept;
  ~TVec() override = default;

  std::string ClassName() const override { return "TVec"; }

  // ---- shape ---------------------------------------------------------------------------
  int Length() const noexcept { return length_; }
  // Keeps the first min(old, new) elements; new elements are zero. Fires OnSetLength when
  // the length changes.
  void SetLength(int length);
  // Same as SetLength; named for call sites that rely on the zero fill.
  void Resize(int length) { SetLength(length); }
  bool Complex() const noexcept { return complex_; }
  // Keeps the element count: real -> complex keeps the values as real parts with zero
  // imaginary parts; complex -> real keeps the real parts.
  void SetComplex(bool complex);
  // Gives this vector src's length and complex flag; values are not copied.
  void Size(const TVec& src);
  // Gives this vector the length and complex flag; values are left unspecified.
  void Size(int length, bool complex);
  // Reserved elements (for the present complex flag) that need no new allocation.
  int Capacity() const noexcept;

  // Called after every change of length, including a change made by an operation.
  const TVecLengthEvent& OnSetLength() const noexcept { return onSetLength_; }
  void SetOnSetLength(TVecLengthEvent handler) { onSetLength_ = std::move(handler); }

  // ---- raw access ----------------------------------------------------------------------
  // Real storage: Length() doubles, or 2 Length() interleaved re, im for a complex vector.
  double* Data() noexcept { return data_.data(); }
  const double* Data() const noexcept { return data_.data(); }
  // Complex view of the storage; meaningful for a complex vector only.
  TCplx* CData() noexcept { return reinterpret_cast<TCplx*>(data_.data()); }
  const TCplx* CData() const noexcept { return reinterpret_cast<const TCplx*>(data_.data()); }
  // The storage as doubles (Length() or 2 Length() of them).
  std::span<double> Span() noexcept { return {data_.data(), StorageSize()}; }
  std::span<const double> Span() const noexcept { return {data_.data(), StorageSize()}; }
  // The elements of a complex vector (empty span for a real one).
  std::span<TCplx> CSpan() noexcept { return {CData(), complex_ ? std::size_t(length_) : 0}; }
  std::span<const TCplx> CSpan() const noexcept { return {CData(), complex_ ? std::size_t(length_) : 0}; }

  // Storage double i, no range check (for a complex vector 2k is the real part of element k
  // and 2k + 1 its imaginary part).
  double Values(int i) const noexcept { return data_[std::size_t(i)]; }
  void SetValues(int i, double x) noexcept { data_[std::size_t(i)] = x; }
  // Element i as a complex number, no range check; a real vector gives (x, 0).
  TCplx CValues(int i) const noexcept {
    return complex_ ? CData()[i] : TCplx(data_[std::size_t(i)], 0.0);
  }
  // Sets element i; a real vector keeps the real part only.
  void SetCValues(int i, TCplx c) noexcept {
    if (complex_) CData()[i] = c;
    else data_[std::size_t(i)] = c.real();
  }

  // ---- copy ----------------------------------------------------------------------------
  // Makes this vector equal to src: length, complex flag and values.
  void Copy(const TVec& src);
  // Same as Copy (the persistent-object spelling).
  void Assign(const TVec& src) { Copy(src); }
  // Copies len elements of src from srcIndex to this vector at dstIndex without changing
  // shape. A real src writes real parts (zero imaginary parts) into a complex vector; a
  // complex src into a real vector is an error ("TVec: complex source for a real vector").
  void Copy(const TVec& src, int srcIndex, int dstIndex, int len);
  // This vector := real (or imaginary) parts of src, as a real vector of src's length. src may
  // be this vector. A real src has zero imaginary parts.
  void RealPart(const TVec& src);
  void ImagPart(const TVec& src);

  // ---- element-wise --------------------------------------------------------------------
  void SetZero();
  void SetZero(int index, int len);
  // Every element := x (a complex vector gets (x, 0)).
  void SetVal(double x);
  // x[i] := x[i] * factor.
  void Scale(double factor);
  void Scale(TCplx factor);
  // x[i] := x[i] + y[i] / x[i] + c.
  void Add(const TVec& y);
  void Add(double c);
  // x[i] := x[i] - y[i] / x[i] - c.
  void Sub(const TVec& y);
  void Sub(double c);
  // x[i] := x[i] * y[i].
  void Mul(const TVec& y);
  // x[i] := x[i] / y[i] (IEEE: division by zero gives inf or NaN).
  void Divide(const TVec& y);
  // x[i] := conj(x[i]); nothing for a real vector.
  void Conj();
  // x[i] := x[i] * conj(y[i]) (cross spectrum with this vector first).
  void ConjMul(const TVec& y);
  // x[i] := |x[i]|; a complex vector becomes real.
  void Mag();
  // x[i] := ln x[i]: real: natural log (0 -> -inf, negative -> NaN); complex: principal log.
  void Ln();
  // x[i] := 1 / x[i].
  void Inv();
  // x[i] := x[i]^2 (complex: z * z, not |z|^2).
  void Sqr();
  // x[i] := sqrt x[i]: real: negative -> NaN; complex: principal root.
  void Sqrt();
  // x[i] := x[i]^exponent: real: std::pow (negative base with fractional exponent -> NaN);
  // complex: principal value.
  void Power(double exponent);
  // Circular shift left: x'[i] := x[(i + offset) mod N]. Rotate(N/2) of an even-length
  // spectrum puts the negative frequencies first; a negative offset shifts right.
  void Rotate(int offset);
  // Keeps every factor-th element starting at phase: x'[k] := x[phase + k factor], length
  // ceil((N - phase) / factor). factor >= 1, 0 <= phase (phase >= N gives length 0).
  void DownSample(int factor, int phase);
  // This vector := src down-sampled the same way (src may be this vector).
  void DownSample(const TVec& src, int factor, int phase);
  // Subtracts the mean of elements index .. index+len-1 from those elements only.
  void RemoveDC(int index, int len);
  void RemoveDC() { RemoveDC(0, length_); }
  // Every real value with |x - oldValue| <= tolerance := newValue; NaN never matches. A
  // complex vector tests real and imaginary parts separately.
  void Replace(double oldValue, double newValue, double tolerance = 0.0);
  // Every real value below limit := limit (above limit for ThreshTop). Complex: both parts.
  void ThreshBottom(double limit);
  void ThreshTop(double limit);
  // Reverses the order of the elements.
  void Reverse();

  // ---- transforms (scaling: see the head of this file) ---------------------------------
  // In place, forward. A real vector becomes complex and holds the full N-point spectrum
  // (computed by a real-input transform and completed by conjugate symmetry).
  void FFT();
  // dst := forward transform of this vector (complex, same length); dst may be this vector.
  void FFT(TVec& dst) const;
  // In place, inverse (1/N). The result is complex.
  void IFFT();
  void IFFT(TVec& dst) const;
  // Real input of length N -> dst complex of length N/2 + 1 (bins 0 .. N/2). This vector must
  // be real and dst another vector.
  void RealFFT(TVec& dst) const;
  // Complex input of length n/2 + 1 (bins 0 .. n/2 of a conjugate-symmetric spectrum) -> dst
  // real of length n, scaled by 1/n. dst must be another vector.
  void RealIFFT(TVec& dst, int n) const;

  // ---- statistics ----------------------------------------------------------------------
  // Statistics of a complex vector use magnitudes where an order is needed (Min, Max,
  // MinMax, MaxIndex, NearestMaximum/Minimum); Mean and StdDev use the complex values.
  // An empty vector gives NaN (indices -1).
  double Sum() const;
  TCplx CSum() const;
  // Arithmetic mean; for a complex vector the real part of CMean().
  double Mean() const;
  TCplx CMean() const;
  // Sample standard deviation, sqrt(sum |x - mean|^2 / (N - 1)); 0 for N = 1.
  double StdDev() const;
  double Min() const;
  double Max() const;
  void MinMax(double& min, double& max) const;
  void MinMax(double& min, double& max, int& minIndex, int& maxIndex) const;
  // Root mean square, sqrt(sum |x|^2 / N).
  double RMS() const;
  // Largest magnitude, max |x|.
  double Peak() const;
  // Peak() / RMS().
  double Crest() const;
  // Index of the largest value (first of equal ones).
  int MaxIndex() const;
  // Index of the local maximum reached by climbing from index toward the larger neighbour
  // until neither neighbour is larger; index is clamped into the vector first.
  int NearestMaximum(int index) const;
  // The same, descending to a local minimum.
  int NearestMinimum(int index) const;

  // ---- streams -------------------------------------------------------------------------
  // Self-describing little-endian image:
  //   offset 0  4 bytes  tag "SVEC"
  //   offset 4  1 byte   format version (1)
  //   offset 5  1 byte   TPrecision ordinal
  //   offset 6  1 byte   complex flag (0 real, 1 complex)
  //   offset 7  1 byte   0
  //   offset 8  8 bytes  length in elements (signed)
  //   offset 16          the values as WriteValues writes them
  // prDouble stores every bit; other precisions convert with rounding and clip.
  void SaveToStream(TStream& stream, TPrecision precision = prDouble, TRounding rounding = rnTrunc) const;
  // Reads an image written by SaveToStream. A bad tag, version, precision or flag, a length
  // that the rest of the stream cannot hold, or an early end raise EReadError and leave
  // this vector as it was; the buffer for a claimed length is never allocated before the
  // stream is known to hold it.
  void LoadFromStream(TStream& stream);
  // The samples alone: Length() values (2 Length() interleaved for a complex vector), each
  // PrecisionSize(precision) bytes little-endian, converted by QuantizeValue.
  void WriteValues(TStream& stream, TPrecision precision, TRounding rounding) const;
  // Reads length elements of the given kind and precision into this vector (resized).
  // Raises EReadError when the stream holds fewer bytes; the vector is then unchanged.
  void ReadValues(TStream& stream, TPrecision precision, int length, bool complex);

  // ---- random fills (see Random.h) -----------------------------------------------------
  TRandomState& RandomState() noexcept { return rand_; }

private:
  std::size_t StorageSize() const noexcept { return std::size_t(length_) * (complex_ ? 2 : 1); }
  // Sets shape, keeping storage content as it lies; fires OnSetLength on a length change.
  void Reshape(int length, bool complex);
  void FireLength(int oldLength);
  void CheckSameLength(const TVec& y) const;
  void CheckRange(int index, int len) const;

  std::vector<double, TAlignedAllocator<double>> data_;
  int length_ = 0;
  bool complex_ = false;
  TVecLengthEvent onSetLength_;
  TRandomState rand_;
};

}  // namespace sigflow
