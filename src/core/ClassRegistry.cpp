#include "sigflow/core/ClassRegistry.h"

#include <map>
#include <memory>
#include <mutex>

namespace sigflow {

namespace {
struct TRegistry {
  std::mutex Lock;
  // Entries are never freed, so FindComponentClass may hand out pointers.
  std::map<std::string, std::unique_ptr<TComponentClass>> Classes;
};
TRegistry& Registry() {
  static TRegistry registry;
  return registry;
}
}  // namespace

bool RegisterComponentClass(TComponentClass Class) {
  TRegistry& r = Registry();
  std::lock_guard lock(r.Lock);
  auto& slot = r.Classes[Class.Name];
  if (slot) *slot = std::move(Class);
  else slot = std::make_unique<TComponentClass>(std::move(Class));
  return true;
}

const TComponentClass* FindComponentClass(const std::string& Name) {
  TRegistry& r = Registry();
  std::lock_guard lock(r.Lock);
  auto it = r.Classes.find(Name);
  return it == r.Classes.end() ? nullptr : it->second.get();
}

std::vector<std::string> RegisteredComponentClasses() {
  TRegistry& r = Registry();
  std::lock_guard lock(r.Lock);
  std::vector<std::string> names;
  for (const auto& [name, cls] : r.Classes) names.push_back(name);
  return names;
}

}  // namespace sigflow
