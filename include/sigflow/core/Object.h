#pragma once
#include <functional>
#include <string>

namespace sigflow {

// Root of the class tree. ClassName() gives the class's own name ("TSignalFilter"); template
// files and persisted trees store it as a format tag, so descendants must override it.
class TObject {
public:
  virtual ~TObject() = default;
  virtual std::string ClassName() const { return "TObject"; }
};

// Events are plain callables; "assigned" means non-empty.
using TNotifyEvent = std::function<void(TObject* Sender)>;

}  // namespace sigflow
