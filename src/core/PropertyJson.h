#pragma once
// Published properties and defined data as JSON, shared by the component tree format and the
// settings streams. Private to the library: public headers never see nlohmann-json.
//
// An object node is {"properties": {...}, "binary": {name: base64}, "text": {name: text},
// "items": [item nodes]}, each part present only when it has content. Reading happens in two
// steps: PlanObject checks a node against a live object and throws EReadError naming the
// place; ApplyPlan then changes the object.
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "sigflow/core/Collection.h"
#include "sigflow/core/Properties.h"

namespace sigflow::detail {

using Json = nlohmann::ordered_json;

// An EReadError about one node of a parsed document, so that the caller can name its line.
class EJsonReadError : public EReadError {
public:
  EJsonReadError(const std::string& Message, const Json* Where) : EReadError(Message), Node(Where) {}
  const Json* Node;
};

// The 1-based line of Text where Node (a value inside Document, parsed from Text) starts, or
// for an object member, where its key stands; 0 when it cannot be found.
int LineOf(const Json& Document, const std::string& Text, const Json* Node);

struct TWriteScope {
  bool OnlyStored = true;   // skip values equal to their declared default
  bool References = true;   // component references, by Name
  bool OwnDefined = true;   // DefineProperties data of the object itself (sub-objects always)
  const std::vector<const TPropInfo*>* Only = nullptr;  // restricts the object's own properties
};

// Throws EWriteError "<Path>.<Prop>: ..." for values that cannot be written.
Json WriteObject(TPersistent& Object, const TWriteScope& Scope, const std::string& Path);

struct TObjectPlan {
  struct TValue {
    const TPropInfo* Prop;
    TPropValue Value;
  };
  struct TRef {
    const TPropInfo* Prop;
    std::string Name;  // empty: nil
    std::string Path;
    const Json* Node;  // the value in the document
  };
  struct TSub {
    const TPropInfo* Prop;
    std::unique_ptr<TObjectPlan> Plan;
  };
  std::vector<TValue> Values;
  std::vector<TRef> Refs;
  std::vector<TSub> Subs;
  bool HasItems = false;
  std::vector<TObjectPlan> Items;
  std::vector<std::pair<std::string, std::vector<std::uint8_t>>> Binary;
  std::vector<std::pair<std::string, std::string>> Text;
  std::string Path;
};

struct TReadScope {
  bool References = true;
  bool OwnDefined = true;
  const std::vector<const TPropInfo*>* Only = nullptr;
  std::set<std::string> ExtraKeys;  // keys the caller handles itself ("class", "children")
};

// Object may be null for collection items that do not exist yet: then only Table is checked.
TObjectPlan PlanObject(const Json& Node, const TPropertyTable& Table, TPersistent* Object, const TReadScope& Scope,
                       const std::string& Path);

void CollectRefs(const TObjectPlan& Plan, std::vector<const TObjectPlan::TRef*>& Out);

struct TRefFixup {
  TPersistent* Target;
  const TPropInfo* Prop;
  std::string Name;
};
// Sets values, sub-objects, items and defined data; references go to Fixups.
void ApplyPlan(TPersistent& Object, const TObjectPlan& Plan, std::vector<TRefFixup>& Fixups);

// EReadError "Invalid JSON at line L, column C" on a syntax error.
Json ParseJson(const std::string& Text);
// Dumps with two-space indentation; EWriteError when a string is not UTF-8.
std::string DumpJson(const Json& Document);

std::string Base64Encode(const std::vector<std::uint8_t>& Bytes);
// False on anything but canonical, padded base64.
bool Base64Decode(const std::string& Text, std::vector<std::uint8_t>& Bytes);

}  // namespace sigflow::detail
