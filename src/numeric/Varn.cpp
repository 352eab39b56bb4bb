#include "sigflow/numeric/Varn.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <string>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

TVarn::TVarn(int rows, int cols, bool complex) { Size(rows, cols, complex); }

void TVarn::Size(int rows, int cols, bool complex) {
  if (rows < 0 || cols < 0) throw Exception("TVarn: negative size");
  rows_ = rows;
  cols_ = cols;
  complex_ = complex;
  data_.assign(std::size_t(rows) * std::size_t(cols) * (complex ? 2 : 1), 0.0);
}

void TVarn::SetComplex(bool complex) {
  if (complex == complex_) return;
  const std::size_t n = std::size_t(rows_) * std::size_t(cols_);
  if (complex) {
    data_.resize(2 * n);
    for (std::size_t i = n; i-- > 0;) {
      data_[2 * i] = data_[i];
      data_[2 * i + 1] = 0.0;
    }
  } else {
    for (std::size_t i = 0; i < n; ++i) data_[i] = data_[2 * i];
    data_.resize(n);
  }
  complex_ = complex;
}

void TVarn::CheckShape(const TVarn& b) const {
  if (b.rows_ != rows_ || b.cols_ != cols_)
    throw Exception("TVarn: shapes differ (" + std::to_string(rows_) + "x" + std::to_string(cols_) + " <> " +
                    std::to_string(b.rows_) + "x" + std::to_string(b.cols_) + ")");
}

void TVarn::Copy(const TVarn& src) {
  if (&src == this) return;
  rows_ = src.rows_;
  cols_ = src.cols_;
  complex_ = src.complex_;
  data_.assign(src.data_.begin(), src.data_.end());
}

void TVarn::SetZero() { std::fill(data_.begin(), data_.end(), 0.0); }

void TVarn::Scale(double factor) {
  for (double& x : data_) x *= factor;
}

void TVarn::Add(const TVarn& b) {
  CheckShape(b);
  if (b.complex_) SetComplex(true);
  const std::size_t n = std::size_t(rows_) * std::size_t(cols_);
  if (complex_ == b.complex_) {
    for (std::size_t i = 0; i < data_.size(); ++i) data_[i] += b.data_[i];
  } else {
    for (std::size_t i = 0; i < n; ++i) data_[2 * i] += b.data_[i];
  }
}

void TVarn::Mag() {
  const std::size_t n = std::size_t(rows_) * std::size_t(cols_);
  if (!complex_) {
    for (double& x : data_) x = std::fabs(x);
    return;
  }
  for (std::size_t i = 0; i < n; ++i) data_[i] = std::hypot(data_[2 * i], data_[2 * i + 1]);
  data_.resize(n);
  complex_ = false;
}

void TVarn::Power(double exponent) {
  if (!complex_) {
    for (double& x : data_) x = std::pow(x, exponent);
    return;
  }
  auto* z = reinterpret_cast<TCplx*>(data_.data());
  const std::size_t n = data_.size() / 2;
  for (std::size_t i = 0; i < n; ++i) z[i] = std::pow(z[i], exponent);
}

void TVarn::Divide(const TVarn& b) {
  CheckShape(b);
  if (b.complex_) SetComplex(true);
  const std::size_t n = std::size_t(rows_) * std::size_t(cols_);
  if (!complex_) {
    for (std::size_t i = 0; i < n; ++i) data_[i] /= b.data_[i];
  } else if (!b.complex_) {
    for (std::size_t i = 0; i < n; ++i) {
      data_[2 * i] /= b.data_[i];
      data_[2 * i + 1] /= b.data_[i];
    }
  } else {
    auto* z = reinterpret_cast<TCplx*>(data_.data());
    const auto* w = reinterpret_cast<const TCplx*>(b.data_.data());
    for (std::size_t i = 0; i < n; ++i) z[i] /= w[i];
  }
}

void TVarn::Cbrt() {
  if (!complex_) {
    for (double& x : data_) x = std::cbrt(x);
    return;
  }
  auto* z = reinterpret_cast<TCplx*>(data_.data());
  const std::size_t n = data_.size() / 2;
  for (std::size_t i = 0; i < n; ++i) z[i] = std::pow(z[i], 1.0 / 3.0);
}

double TVarn::Max() const {
  const std::size_t n = std::size_t(rows_) * std::size_t(cols_);
  if (n == 0) return std::numeric_limits<double>::quiet_NaN();
  double m = -std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < n; ++i)
    m = std::max(m, complex_ ? std::hypot(data_[2 * i], data_[2 * i + 1]) : data_[i]);
  return m;
}

}  // namespace sigflow
