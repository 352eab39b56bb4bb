#pragma once
// The message of the library exception a call throws, for exact error-text checks. An
// exception of another class escapes and fails the test.
#include <string>

#include "sigflow/core/Exceptions.h"

namespace sigflow::test {

template <class E = Exception, class F>
std::string Thrown(F&& f) {
  try {
    f();
  } catch (const E& e) {
    return e.Message();
  }
  return "<no exception>";
}

}  // namespace sigflow::test
