#pragma once
// TVarn: a matrix of double-precision values, real or complex, stored row by row (row-major;
// complex elements interleaved re, im). Storage is kept when the matrix shrinks.
// Element-wise operations between matrices need equal shapes (else Exception
// "TVarn: shapes differ (RxC <> RxC)").
#include <span>
#include <string>
#include <vector>

#include "sigflow/core/Object.h"
#include "sigflow/numeric/Precision.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {

class TVarn : public TObject {
public:
  TVarn() = default;
  TVarn(int rows, int cols, bool complex = false);

  std::string ClassName() const override { return "TVarn"; }

  int Rows() const noexcept { return rows_; }
  int Cols() const noexcept { return cols_; }
  bool Complex() const noexcept { return complex_; }
  // New shape; values are reset to zero. rows, cols >= 0.
  void Size(int rows, int cols, bool complex = false);
  // Same shape as src; values are reset to zero.
  void Size(const TVarn& src) { Size(src.rows_, src.cols_, src.complex_); }
  // Keeps the complex flag and the element values: real parts kept, imaginary parts zero.
  void SetComplex(bool complex);

  // Element (r, c) without range check. Values on a complex matrix reads the real part.
  double Values(int r, int c) const noexcept { return data_[Index(r, c)]; }
  void SetValues(int r, int c, double x) noexcept { data_[Index(r, c)] = x; }
  TCplx CValues(int r, int c) const noexcept {
    const std::size_t i = Index(r, c);
    return complex_ ? TCplx(data_[i], data_[i + 1]) : TCplx(data_[i], 0.0);
  }
  void SetCValues(int r, int c, TCplx v) noexcept {
    const std::size_t i = Index(r, c);
    data_[i] = v.real();
    if (complex_) data_[i + 1] = v.imag();
  }
  // Row r as doubles (cols values, 2 cols interleaved when complex).
  std::span<double> Row(int r) noexcept { return {data_.data() + Index(r, 0), RowSize()}; }
  std::span<const double> Row(int r) const noexcept { return {data_.data() + Index(r, 0), RowSize()}; }
  double* Data() noexcept { return data_.data(); }
  const double* Data() const noexcept { return data_.data(); }

  void Copy(const TVarn& src);
  void Assign(const TVarn& src) { Copy(src); }
  void SetZero();
  void Scale(double factor);
  // a := a + b element-wise.
  void Add(const TVarn& b);
  // a := |a| element-wise; a complex matrix becomes real.
  void Mag();
  // a := a^exponent (real: std::pow; complex: principal value).
  void Power(double exponent);
  // a := a / b element-wise (IEEE for zeros).
  void Divide(const TVarn& b);
  // a := cube root of a (real: std::cbrt, sign kept; complex: principal root).
  void Cbrt();
  // Largest element (real parts; magnitudes for a complex matrix); NaN when empty.
  double Max() const;

private:
  std::size_t Index(int r, int c) const noexcept {
    return (std::size_t(r) * std::size_t(cols_) + std::size_t(c)) * (complex_ ? 2 : 1);
  }
  std::size_t RowSize() const noexcept { return std::size_t(cols_) * (complex_ ? 2 : 1); }
  void CheckShape(const TVarn& b) const;

  std::vector<double, TAlignedAllocator<double>> data_;
  int rows_ = 0;
  int cols_ = 0;
  bool complex_ = false;
};

}  // namespace sigflow
