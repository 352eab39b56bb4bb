#pragma once
// Coefficient tables behind WaveletFilters(); the .cpp is generated.
#include <cstddef>

#include "sigflow/numeric/FilterDesign.h"

namespace sigflow::detail {

struct TWaveletTable {
  TWaveletType type;
  int p1, p2;
  int length;
  const double* decLow;  // decomposition low-pass
  const double* recLow;  // reconstruction low-pass; nullptr: decLow reversed (orthogonal)
};

extern const TWaveletTable kWaveletTables[];
extern const std::size_t kWaveletTableCount;

}  // namespace sigflow::detail
