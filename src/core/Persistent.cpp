#include "sigflow/core/Persistent.h"

#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Properties.h"

namespace sigflow {

void TPersistent::Assign(TPersistent* Source) {
  if (Source) {
    Source->AssignTo(this);
    return;
  }
  AssignError(nullptr);
}

void TPersistent::AssignTo(TPersistent* Dest) { Dest->AssignError(this); }

void TPersistent::AssignError(TPersistent* Source) {
  const std::string source = Source ? Source->ClassName() : std::string("nil");
  throw EConvertError("Cannot assign a " + source + " to a " + ClassName());
}

const TPropertyTable& TPersistent::ClassProperties() {
  static const TPropertyTable table(nullptr, {});
  return table;
}

}  // namespace sigflow
