#pragma once
// The message of the exception of class E (or a base of it) that f throws. Another exception
// class escapes and fails the test; no exception gives "no exception".
#include <string>

#include "sigflow/core/Exceptions.h"

namespace sigflow::test {

template <class E = Exception, class F>
std::string MessageOf(F&& f) {
  try {
    f();
  } catch (const E& e) {
    return e.Message();
  }
  return "no exception";
}

}  // namespace sigflow::test
