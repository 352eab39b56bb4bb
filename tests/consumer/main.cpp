// A tiny application built against the installed sigflow package.
#include <sigflow/core/Streams.h>

#include <iostream>

int main() {
  sigflow::TMemoryStream s;
  s.WriteValue<std::int32_t>(42);
  s.SetPosition(0);
  if (s.ReadValue<std::int32_t>() != 42) return 1;
  std::cout << "consumer ok\n";
  return 0;
}
