#pragma once
// The message of the library exception a call throws, for exact error-text checks.
#include <string>

#include "sigflow/core/Exceptions.h"

namespace sigflow::test {

template <class F>
std::string Thrown(F&& f) {
  try {
    f();
  } catch (const Exception& e) {
    return e.Message();
  }
  return "<no exception>";
}

}  // namespace sigflow::test
