#pragma once
// Component classes by name, so that a loader can create a component from the class name it
// reads. A class registers itself once, for instance from its own .cpp:
//   static const bool registered = RegisterComponentClass<TSignal>("TSignal");
// With a static library the linker keeps that .cpp only if something else in it is used:
// programs that create components only by name call the unit's registration function.
#include <functional>
#include <string>
#include <vector>

#include "sigflow/core/Component.h"
#include "sigflow/core/Properties.h"

namespace sigflow {

struct TComponentClass {
  std::string Name;
  std::function<TComponent*(TComponent* Owner)> Create;  // `new T(Owner)`
  const TPropertyTable& (*Properties)() = &TPersistent::ClassProperties;
};

// Registers (or replaces) the class of that name. Thread-safe. Returns true.
bool RegisterComponentClass(TComponentClass Class);
// Null when the name is not registered.
const TComponentClass* FindComponentClass(const std::string& Name);
std::vector<std::string> RegisteredComponentClasses();

template <class T>
bool RegisterComponentClass(const std::string& Name) {
  return RegisterComponentClass(
      TComponentClass{Name, [](TComponent* owner) -> TComponent* { return new T(owner); }, &T::ClassProperties});
}

}  // namespace sigflow
