#pragma once
// Published properties. Each class that publishes declares one static table, chained to its
// parent's, with one entry per property:
//
//   const TPropertyTable& TGen::ClassProperties() {
//     static const TPropertyTable table(&TVarnComponent::ClassProperties(), {
//         Property("Amplitude", &TGen::Amplitude, &TGen::SetAmplitude, 1.0),
//         EnumProperty("Shape", &TGen::Shape, &TGen::SetShape, ShapeInfo(), shSine),
//         ComponentProperty("Input", &TGen::Input, &TGen::SetInput),
//     });
//     return table;
//   }
//
// Assign, settings streams, templates, the JSON tree format and editors all work from it.
// Events are not properties: they are never persisted.
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Persistent.h"
#include "sigflow/core/Sets.h"

namespace sigflow {

class TComponent;

enum TPropKind : std::uint8_t {
  pkBool,
  pkInteger,    // any integral type, carried as int64
  pkDouble,
  pkString,     // UTF-8
  pkEnum,       // persisted by value name; carried as the ordinal
  pkSet,        // TSet<E>, persisted as a list of value names; carried as the bit mask
  pkComponent,  // TComponent reference, persisted by Name
  pkObject,     // owned TPersistent sub-object (a TCollection, a template store), read-only
};

// Value names of an enumeration with the ordinals 0..n-1, in order.
class TEnumInfo {
public:
  TEnumInfo(std::string TypeName, std::vector<std::string> Names)
      : typeName_(std::move(TypeName)), names_(std::move(Names)) {}
  const std::string& TypeName() const { return typeName_; }
  int Count() const { return static_cast<int>(names_.size()); }
  // Throws EPropertyError for an ordinal without a name.
  const std::string& Name(std::int64_t Value) const;
  // -1 when Name is not a value of the type (case-sensitive).
  int ValueOf(std::string_view Name) const;

private:
  std::string typeName_;
  std::vector<std::string> names_;
};

// A property value of any kind but pkObject. pkEnum: ordinal; pkSet: bit mask.
using TPropValue = std::variant<bool, std::int64_t, double, std::string, TComponent*>;

struct TPropInfo {
  std::string Name;
  TPropKind Kind = pkInteger;
  const TEnumInfo* Enum = nullptr;                        // pkEnum, pkSet
  std::int64_t MinValue = std::numeric_limits<std::int64_t>::min();  // pkInteger range of the type
  std::int64_t MaxValue = std::numeric_limits<std::int64_t>::max();
  std::function<TPropValue(const TPersistent&)> Get;      // all but pkObject
  std::function<void(TPersistent&, const TPropValue&)> Set;  // empty: read-only
  std::optional<TPropValue> Default;                      // none: always stored
  std::function<bool(const TComponent*)> Accepts;         // pkComponent: fits the property's type
  std::string RefType;                                    // pkComponent: class expected, for messages
  std::function<TPersistent*(TPersistent&)> Object;       // pkObject

  bool Writable() const { return static_cast<bool>(Set); }
  // Whether the value of Instance differs from the declared default (no default: true).
  bool IsStored(const TPersistent& Instance) const;
};

class TPropertyTable {
public:
  TPropertyTable(const TPropertyTable* Parent, std::vector<TPropInfo> Own);
  const TPropertyTable* Parent() const { return parent_; }
  // Searches this table, then the parents'. Null when unknown.
  const TPropInfo* Find(std::string_view Name) const;
  // The parent's properties first, then this class's, in declaration order.
  std::vector<const TPropInfo*> All() const;

private:
  const TPropertyTable* parent_;
  std::vector<TPropInfo> own_;
};

// Dynamic access by name; both throw EPropertyError "Unknown property <Name> of <Class>".
TPropValue GetPropValue(const TPersistent& Instance, std::string_view Name);
void SetPropValue(TPersistent& Instance, std::string_view Name, const TPropValue& Value);

// Copies the writable properties in Props from Source to Dest (sub-objects by their Assign).
// Both must have these properties, so Source is of Dest's class or a descendant.
void CopyProperties(const std::vector<const TPropInfo*>& Props, TPersistent& Source, TPersistent& Dest);

// ------------------------------------------------------------------ declaration helpers

namespace detail {
template <class V>
constexpr TPropKind PlainKind() {
  if constexpr (std::is_same_v<V, bool>) return pkBool;
  else if constexpr (std::is_integral_v<V>) return pkInteger;
  else if constexpr (std::is_floating_point_v<V>) return pkDouble;
  else {
    static_assert(std::is_same_v<V, std::string>, "use EnumProperty, SetProperty, ComponentProperty or ObjectProperty");
    return pkString;
  }
}
template <class V>
TPropValue ToValue(const V& v) {
  if constexpr (std::is_same_v<V, bool>) return v;
  else if constexpr (std::is_integral_v<V>) return static_cast<std::int64_t>(v);
  else if constexpr (std::is_floating_point_v<V>) return static_cast<double>(v);
  else return std::string(v);
}
template <class V>
V FromValue(const TPropValue& p) {
  if constexpr (std::is_same_v<V, bool>) return std::get<bool>(p);
  else if constexpr (std::is_integral_v<V>) return static_cast<V>(std::get<std::int64_t>(p));
  else if constexpr (std::is_floating_point_v<V>) return static_cast<V>(std::get<double>(p));
  else return std::get<std::string>(p);
}
}  // namespace detail

// bool, integral, floating-point and std::string properties. Set may be nullptr (read-only).
template <class C, class R, class A>
TPropInfo Property(std::string Name, R (C::*Get)() const, void (C::*Set)(A),
                   std::type_identity_t<std::optional<std::decay_t<R>>> Default = std::nullopt) {
  using V = std::decay_t<R>;
  TPropInfo p;
  p.Name = std::move(Name);
  p.Kind = detail::PlainKind<V>();
  if constexpr (std::is_integral_v<V> && !std::is_same_v<V, bool>) {
    p.MinValue = static_cast<std::int64_t>(std::numeric_limits<V>::min());
    p.MaxValue = std::numeric_limits<V>::max() > static_cast<std::make_unsigned_t<std::int64_t>>(std::numeric_limits<std::int64_t>::max())
                     ? std::numeric_limits<std::int64_t>::max()
                     : static_cast<std::int64_t>(std::numeric_limits<V>::max());
  }
  p.Get = [Get](const TPersistent& o) { return detail::ToValue<V>((static_cast<const C&>(o).*Get)()); };
  if (Set) p.Set = [Set](TPersistent& o, const TPropValue& v) { (static_cast<C&>(o).*Set)(detail::FromValue<V>(v)); };
  if (Default) p.Default = detail::ToValue<V>(*Default);
  return p;
}

// A read-only property: shown and copied nowhere, listed for editors and scripts.
template <class C, class R>
TPropInfo Property(std::string Name, R (C::*Get)() const, std::nullptr_t) {
  using V = std::decay_t<R>;
  return Property<C, R, V>(std::move(Name), Get, static_cast<void (C::*)(V)>(nullptr), std::nullopt);
}

template <class C, class E>
  requires std::is_enum_v<E>
TPropInfo EnumProperty(std::string Name, E (C::*Get)() const, void (C::*Set)(E), const TEnumInfo& Info,
                       std::type_identity_t<std::optional<E>> Default = std::nullopt) {
  TPropInfo p;
  p.Name = std::move(Name);
  p.Kind = pkEnum;
  p.Enum = &Info;
  p.MinValue = 0;
  p.MaxValue = Info.Count() - 1;
  p.Get = [Get](const TPersistent& o) { return TPropValue(static_cast<std::int64_t>((static_cast<const C&>(o).*Get)())); };
  if (Set)
    p.Set = [Set](TPersistent& o, const TPropValue& v) { (static_cast<C&>(o).*Set)(static_cast<E>(std::get<std::int64_t>(v))); };
  if (Default) p.Default = TPropValue(static_cast<std::int64_t>(*Default));
  return p;
}

template <class C, class E>
TPropInfo SetProperty(std::string Name, TSet<E> (C::*Get)() const, void (C::*Set)(TSet<E>), const TEnumInfo& Info,
                      std::type_identity_t<std::optional<TSet<E>>> Default = std::nullopt) {
  TPropInfo p;
  p.Name = std::move(Name);
  p.Kind = pkSet;
  p.Enum = &Info;
  p.Get = [Get](const TPersistent& o) { return TPropValue(static_cast<std::int64_t>((static_cast<const C&>(o).*Get)().Bits())); };
  if (Set)
    p.Set = [Set](TPersistent& o, const TPropValue& v) {
      (static_cast<C&>(o).*Set)(TSet<E>::FromBits(static_cast<std::uint64_t>(std::get<std::int64_t>(v))));
    };
  if (Default) p.Default = TPropValue(static_cast<std::int64_t>(Default->Bits()));
  return p;
}

// A reference to a component of class T (not owned). Default: nil. RefType names T in messages.
template <class C, class T>
TPropInfo ComponentProperty(std::string Name, T* (C::*Get)() const, void (C::*Set)(T*), std::string RefType = "TComponent") {
  static_assert(std::is_base_of_v<TComponent, T>);
  TPropInfo p;
  p.Name = std::move(Name);
  p.Kind = pkComponent;
  p.RefType = std::move(RefType);
  p.Get = [Get](const TPersistent& o) { return TPropValue(static_cast<TComponent*>((static_cast<const C&>(o).*Get)())); };
  if (Set)
    p.Set = [Set](TPersistent& o, const TPropValue& v) {
      (static_cast<C&>(o).*Set)(dynamic_cast<T*>(std::get<TComponent*>(v)));
    };
  p.Accepts = [](const TComponent* c) { return c == nullptr || dynamic_cast<const T*>(c) != nullptr; };
  p.Default = TPropValue(static_cast<TComponent*>(nullptr));
  return p;
}

// An owned sub-object, persisted inline and copied by its Assign.
template <class C, class T>
TPropInfo ObjectProperty(std::string Name, T* (C::*Get)() const) {
  static_assert(std::is_base_of_v<TPersistent, T>);
  TPropInfo p;
  p.Name = std::move(Name);
  p.Kind = pkObject;
  p.Object = [Get](TPersistent& o) -> TPersistent* { return (static_cast<C&>(o).*Get)(); };
  return p;
}

}  // namespace sigflow
