#pragma once
// Counts heap allocations made by the calling thread, through a replaced global operator new
// linked into every test binary.
#include <cstddef>

namespace sigflow::test {

// Number of operator new calls on this thread since the program started.
std::size_t AllocationCount() noexcept;

// Allocations made on this thread while the scope is alive.
class AllocationScope {
public:
  AllocationScope() noexcept : start_(AllocationCount()) {}
  std::size_t Count() const noexcept { return AllocationCount() - start_; }

private:
  std::size_t start_;
};

}  // namespace sigflow::test
