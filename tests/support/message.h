#pragma once
// The message of the exception of type E that f throws; a marker text when it throws none.
// Any other exception escapes, so the type is checked as well.
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
  return "(no exception)";
}

}  // namespace sigflow::test
