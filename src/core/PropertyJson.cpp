#include "PropertyJson.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sigflow/core/Component.h"
#include "sigflow/core/Streams.h"

namespace sigflow::detail {

namespace {

[[noreturn]] void ReadFail(const std::string& Path, const std::string& What, const Json& Where) {
  throw EJsonReadError(Path + ": " + What, &Where);
}
[[noreturn]] void ReadFail(const std::string& Path, const std::string& What) { throw EReadError(Path + ": " + What); }

std::string Quoted(const std::string& S) { return "\"" + S + "\""; }

bool InScope(const TPropInfo* P, const std::vector<const TPropInfo*>* Only) {
  return !Only || std::find(Only->begin(), Only->end(), P) != Only->end();
}

// ------------------------------------------------------------------ defined data

// Collects the names a class defines, to reject unknown ones before anything changes.
class TNameFiler : public TFiler {
public:
  std::vector<std::string> Binary, Text;
  void DefineBinaryProperty(const std::string& Name, TStreamProc, TStreamProc, bool) override { Binary.push_back(Name); }
  void DefineTextProperty(const std::string& Name, std::function<void(const std::string&)>, std::function<std::string()>,
                          bool) override {
    Text.push_back(Name);
  }
};

class TJsonWriter : public TFiler {
public:
  explicit TJsonWriter(bool Always) : always_(Always) {}
  Json Binary = Json::object(), Text = Json::object();
  void DefineBinaryProperty(const std::string& Name, TStreamProc, TStreamProc WriteData, bool HasData) override {
    if (!(HasData || always_) || !WriteData) return;
    TMemoryStream stream;
    WriteData(stream);
    Binary[Name] = Base64Encode(stream.Bytes());
  }
  void DefineTextProperty(const std::string& Name, std::function<void(const std::string&)>,
                          std::function<std::string()> WriteData, bool HasData) override {
    if ((HasData || always_) && WriteData) Text[Name] = WriteData();
  }

private:
  bool always_;
};

class TPlanReader : public TFiler {
public:
  explicit TPlanReader(const TObjectPlan& Plan) : plan_(Plan) {}
  std::set<std::string> Seen;
  void DefineBinaryProperty(const std::string& Name, TStreamProc ReadData, TStreamProc, bool) override {
    for (const auto& [name, bytes] : plan_.Binary) {
      if (name != Name) continue;
      Seen.insert(name);
      TMemoryStream stream;
      if (!bytes.empty()) stream.WriteBuffer(bytes.data(), static_cast<std::int64_t>(bytes.size()));
      stream.SetPosition(0);
      if (ReadData) ReadData(stream);
    }
  }
  void DefineTextProperty(const std::string& Name, std::function<void(const std::string&)> ReadData,
                          std::function<std::string()>, bool) override {
    for (const auto& [name, text] : plan_.Text) {
      if (name != Name) continue;
      Seen.insert(name);
      if (ReadData) ReadData(text);
    }
  }

private:
  const TObjectPlan& plan_;
};

// ------------------------------------------------------------------ values

Json WriteValue(const TPropInfo& P, const TPropValue& V, const std::string& Path) {
  switch (P.Kind) {
    case pkBool: return std::get<bool>(V);
    case pkInteger: return std::get<std::int64_t>(V);
    case pkDouble: {
      const double d = std::get<double>(V);
      if (std::isnan(d)) return "NaN";
      if (std::isinf(d)) return d > 0 ? "Infinity" : "-Infinity";
      return d;
    }
    case pkString: return std::get<std::string>(V);
    case pkEnum: {
      const auto ordinal = std::get<std::int64_t>(V);
      if (ordinal < 0 || ordinal >= P.Enum->Count())
        throw EWriteError(Path + ": " + std::to_string(ordinal) + " is not a value of " + P.Enum->TypeName());
      return P.Enum->Name(ordinal);
    }
    case pkSet: {
      const auto bits = static_cast<std::uint64_t>(std::get<std::int64_t>(V));
      Json names = Json::array();
      for (int i = 0; i < 64; ++i) {
        if (!(bits & (std::uint64_t{1} << i))) continue;
        if (i >= P.Enum->Count())
          throw EWriteError(Path + ": " + std::to_string(i) + " is not a value of " + P.Enum->TypeName());
        names.push_back(P.Enum->Name(i));
      }
      return names;
    }
    case pkComponent: {
      const TComponent* c = std::get<TComponent*>(V);
      if (!c) return nullptr;
      if (c->Name().empty()) throw EWriteError(Path + ": the referenced component has no name");
      return c->Name();
    }
    case pkObject: break;
  }
  return nullptr;
}

TPropValue ReadValue(const Json& J, const TPropInfo& P, const std::string& Path) {
  switch (P.Kind) {
    case pkBool:
      if (!J.is_boolean()) ReadFail(Path, "expected true or false", J);
      return J.get<bool>();
    case pkInteger: {
      if (!J.is_number_integer()) ReadFail(Path, "expected an integer", J);
      if (J.is_number_unsigned() && J.get<std::uint64_t>() > static_cast<std::uint64_t>(P.MaxValue))
        ReadFail(Path, std::to_string(J.get<std::uint64_t>()) + " is out of range", J);
      const auto v = J.get<std::int64_t>();
      if (v < P.MinValue || v > P.MaxValue) ReadFail(Path, std::to_string(v) + " is out of range", J);
      return v;
    }
    case pkDouble:
      if (J.is_number()) return J.get<double>();
      if (J.is_string()) {
        const auto& s = J.get_ref<const std::string&>();
        if (s == "NaN") return std::numeric_limits<double>::quiet_NaN();
        if (s == "Infinity") return std::numeric_limits<double>::infinity();
        if (s == "-Infinity") return -std::numeric_limits<double>::infinity();
      }
      ReadFail(Path, "expected a number", J);
    case pkString:
      if (!J.is_string()) ReadFail(Path, "expected a string", J);
      return J.get<std::string>();
    case pkEnum: {
      if (!J.is_string()) ReadFail(Path, "expected a value name of " + P.Enum->TypeName(), J);
      const auto& s = J.get_ref<const std::string&>();
      const int v = P.Enum->ValueOf(s);
      if (v < 0) ReadFail(Path, Quoted(s) + " is not a value of " + P.Enum->TypeName(), J);
      return static_cast<std::int64_t>(v);
    }
    case pkSet: {
      if (!J.is_array()) ReadFail(Path, "expected a list of value names of " + P.Enum->TypeName(), J);
      std::uint64_t bits = 0;
      for (const Json& e : J) {
        if (!e.is_string()) ReadFail(Path, "expected a list of value names of " + P.Enum->TypeName(), J);
        const auto& s = e.get_ref<const std::string&>();
        const int v = P.Enum->ValueOf(s);
        if (v < 0 || v >= 64) ReadFail(Path, Quoted(s) + " is not a value of " + P.Enum->TypeName(), J);
        bits |= std::uint64_t{1} << v;
      }
      return static_cast<std::int64_t>(bits);
    }
    case pkComponent:
    case pkObject: break;
  }
  ReadFail(Path, "cannot be read", J);
}

}  // namespace

// ------------------------------------------------------------------ writing

Json WriteObject(TPersistent& Object, const TWriteScope& Scope, const std::string& Path) {
  Object.BeforeWrite();
  Json node = Json::object();
  Json props = Json::object();
  for (const TPropInfo* p : Object.Properties().All()) {
    if (!InScope(p, Scope.Only)) continue;
    const std::string path = Path + "." + p->Name;
    if (p->Kind == pkObject) {
      TPersistent* sub = p->Object(Object);
      if (!sub) continue;
      TWriteScope inner;
      inner.OnlyStored = Scope.OnlyStored;
      inner.References = Scope.References;
      Json subNode = WriteObject(*sub, inner, path);
      if (!subNode.empty() || !Scope.OnlyStored) props[p->Name] = std::move(subNode);
      continue;
    }
    if (!p->Writable()) continue;
    if (p->Kind == pkComponent && !Scope.References) continue;
    if (Scope.OnlyStored && !p->IsStored(Object)) continue;
    props[p->Name] = WriteValue(*p, p->Get(Object), path);
  }
  if (!props.empty()) node["properties"] = std::move(props);
  if (Scope.OwnDefined) {
    TJsonWriter writer(!Scope.OnlyStored);
    Object.DefineProperties(writer);
    if (!writer.Binary.empty()) node["binary"] = std::move(writer.Binary);
    if (!writer.Text.empty()) node["text"] = std::move(writer.Text);
  }
  if (auto* collection = dynamic_cast<TCollection*>(&Object)) {
    Json items = Json::array();
    for (int i = 0; i < collection->Count(); ++i) {
      TWriteScope inner;
      inner.OnlyStored = Scope.OnlyStored;
      inner.References = Scope.References;
      items.push_back(WriteObject(*collection->Items(i), inner, Path + "[" + std::to_string(i) + "]"));
    }
    if (!items.empty() || !Scope.OnlyStored) node["items"] = std::move(items);
  }
  return node;
}

// ------------------------------------------------------------------ planning

TObjectPlan PlanObject(const Json& Node, const TPropertyTable& Table, TPersistent* Object, const TReadScope& Scope,
                       const std::string& Path) {
  if (!Node.is_object()) ReadFail(Path, "expected an object", Node);
  TObjectPlan plan;
  plan.Path = Path;
  auto* collection = dynamic_cast<TCollection*>(Object);
  for (const auto& [key, value] : Node.items()) {
    if (key == "properties" || key == "binary" || key == "text") continue;
    if (key == "items" && (collection || !Object)) continue;
    if (Scope.ExtraKeys.count(key)) continue;
    ReadFail(Path, "unknown key " + Quoted(key), value);
  }

  if (auto it = Node.find("properties"); it != Node.end()) {
    if (!it->is_object()) ReadFail(Path + ".properties", "expected an object", *it);
    for (const auto& [name, value] : it->items()) {
      const std::string path = Path + "." + name;
      const TPropInfo* p = Table.Find(name);
      if (!p || !InScope(p, Scope.Only)) ReadFail(path, "unknown property", value);
      if (p->Kind == pkObject) {
        if (!Object) ReadFail(path, "objects inside collection items cannot be read", value);
        TPersistent* sub = p->Object(*Object);
        if (!sub) ReadFail(path, "the object does not exist", value);
        TReadScope inner;
        inner.References = Scope.References;
        plan.Subs.push_back({p, std::make_unique<TObjectPlan>(PlanObject(value, sub->Properties(), sub, inner, path))});
        continue;
      }
      if (!p->Writable()) ReadFail(path, "property is read-only", value);
      if (p->Kind == pkComponent) {
        if (!Scope.References) ReadFail(path, "component references are not part of settings", value);
        if (value.is_null()) plan.Refs.push_back({p, "", path, &value});
        else if (value.is_string() && !value.get_ref<const std::string&>().empty())
          plan.Refs.push_back({p, value.get<std::string>(), path, &value});
        else ReadFail(path, "expected a component name or null", value);
        continue;
      }
      plan.Values.push_back({p, ReadValue(value, *p, path)});
    }
  }

  const bool definedAllowed = Scope.OwnDefined;
  TNameFiler names;
  if (Object) Object->DefineProperties(names);
  auto readDefined = [&](const char* section, const std::vector<std::string>& known, bool binary) {
    auto it = Node.find(section);
    if (it == Node.end()) return;
    if (!it->is_object()) ReadFail(Path + "." + section, "expected an object", *it);
    for (const auto& [name, value] : it->items()) {
      const std::string path = Path + "." + name;
      if (!definedAllowed) ReadFail(path, "unknown data", value);
      if (Object && std::find(known.begin(), known.end(), name) == known.end()) ReadFail(path, "unknown data", value);
      if (!value.is_string()) ReadFail(path, binary ? "expected base64 text" : "expected a string", value);
      if (binary) {
        std::vector<std::uint8_t> bytes;
        if (!Base64Decode(value.get_ref<const std::string&>(), bytes)) ReadFail(path, "invalid base64 data", value);
        plan.Binary.emplace_back(name, std::move(bytes));
      } else {
        plan.Text.emplace_back(name, value.get<std::string>());
      }
    }
  };
  readDefined("binary", names.Binary, true);
  readDefined("text", names.Text, false);

  if (auto it = Node.find("items"); it != Node.end()) {
    if (!collection) ReadFail(Path, "unknown key \"items\"", *it);
    if (!it->is_array()) ReadFail(Path + ".items", "expected a list", *it);
    plan.HasItems = true;
    const TCollectionItemClass& itemClass = collection->ItemClass();
    int i = 0;
    for (const Json& item : *it) {
      TReadScope inner;
      inner.References = Scope.References;
      plan.Items.push_back(PlanObject(item, itemClass.Properties(), nullptr, inner, Path + "[" + std::to_string(i++) + "]"));
    }
  }
  return plan;
}

void CollectRefs(const TObjectPlan& Plan, std::vector<const TObjectPlan::TRef*>& Out) {
  for (const auto& r : Plan.Refs) Out.push_back(&r);
  for (const auto& s : Plan.Subs) CollectRefs(*s.Plan, Out);
  for (const auto& item : Plan.Items) CollectRefs(item, Out);
}

// ------------------------------------------------------------------ applying

void ApplyPlan(TPersistent& Object, const TObjectPlan& Plan, std::vector<TRefFixup>& Fixups) {
  for (const auto& v : Plan.Values) v.Prop->Set(Object, v.Value);
  for (const auto& r : Plan.Refs) Fixups.push_back({&Object, r.Prop, r.Name});
  for (const auto& s : Plan.Subs) {
    if (TPersistent* sub = s.Prop->Object(Object)) ApplyPlan(*sub, *s.Plan, Fixups);
  }
  if (!Plan.Binary.empty() || !Plan.Text.empty()) {
    TPlanReader reader(Plan);
    Object.DefineProperties(reader);
    for (const auto& [name, bytes] : Plan.Binary)
      if (!reader.Seen.count(name)) ReadFail(Plan.Path + "." + name, "unknown data");
    for (const auto& [name, text] : Plan.Text)
      if (!reader.Seen.count(name)) ReadFail(Plan.Path + "." + name, "unknown data");
  }
  if (Plan.HasItems) {
    auto& collection = dynamic_cast<TCollection&>(Object);
    collection.BeginUpdate();
    try {
      collection.Clear();
      for (const auto& item : Plan.Items) ApplyPlan(*collection.Add(), item, Fixups);
    } catch (...) {
      collection.EndUpdate();
      throw;
    }
    collection.EndUpdate();
  }
}

// ------------------------------------------------------------------ text

Json ParseJson(const std::string& Text) {
  try {
    return Json::parse(Text);
  } catch (const Json::parse_error& e) {
    // e.byte counts from 1 and points at the character that failed.
    const std::size_t end = std::min<std::size_t>(e.byte > 0 ? e.byte - 1 : 0, Text.size());
    std::size_t line = 1, column = 1;
    for (std::size_t i = 0; i < end; ++i) {
      if (Text[i] == '\n') {
        ++line;
        column = 1;
      } else {
        ++column;
      }
    }
    throw EReadError("Invalid JSON at line " + std::to_string(line) + ", column " + std::to_string(column));
  } catch (const Json::out_of_range&) {
    // A number beyond the range of double ("1e999").
    throw EReadError("Invalid JSON: number out of range");
  } catch (const Json::exception&) {
    throw EReadError("Invalid JSON");
  }
}

std::string DumpJson(const Json& Document) {
  try {
    return Document.dump(2) + "\n";
  } catch (const Json::type_error&) {
    throw EWriteError("Cannot write JSON: a string is not valid UTF-8");
  }
}

namespace {

// The member names and indices leading from Root to Target, without recursion (documents may
// nest deeply). False when Target is not inside Root.
bool PointerOf(const Json& Root, const Json* Target, std::vector<std::string>& Tokens) {
  struct TEntry {
    const Json* Node;
    int Parent;
    std::string Token;
  };
  std::vector<TEntry> entries{{&Root, -1, {}}};
  std::vector<int> todo{0};
  while (!todo.empty()) {
    const int at = todo.back();
    todo.pop_back();
    const Json* node = entries[static_cast<std::size_t>(at)].Node;
    if (node == Target) {
      for (int i = at; i > 0; i = entries[static_cast<std::size_t>(i)].Parent)
        Tokens.insert(Tokens.begin(), entries[static_cast<std::size_t>(i)].Token);
      return true;
    }
    if (node->is_object()) {
      for (const auto& [key, value] : node->items()) {
        entries.push_back({&value, at, key});
        todo.push_back(static_cast<int>(entries.size()) - 1);
      }
    } else if (node->is_array()) {
      for (std::size_t i = 0; i < node->size(); ++i) {
        entries.push_back({&(*node)[i], at, std::to_string(i)});
        todo.push_back(static_cast<int>(entries.size()) - 1);
      }
    }
  }
  return false;
}

// Walks text that is known to be valid JSON, counting lines.
class TLineScanner {
public:
  explicit TLineScanner(const std::string& Text) : t_(Text) {
    if (t_.compare(0, 3, "\xEF\xBB\xBF") == 0) p_ = 3;
  }

  int Find(const std::vector<std::string>& Tokens) {
    SkipSpace();
    for (std::size_t depth = 0; depth < Tokens.size(); ++depth) {
      if (p_ >= t_.size()) return 0;
      if (t_[p_] == '{') {
        ++p_;
        while (true) {
          SkipSpace();
          if (p_ >= t_.size() || t_[p_] != '"') return 0;
          const int keyLine = line_;
          const std::string key = ReadString();
          SkipSpace();
          ++p_;  // ':'
          SkipSpace();
          if (key == Tokens[depth]) {
            if (depth + 1 == Tokens.size()) return keyLine;
            break;
          }
          SkipValue();
          SkipSpace();
          if (p_ >= t_.size() || t_[p_] != ',') return 0;
          ++p_;
        }
      } else if (t_[p_] == '[') {
        ++p_;
        // With duplicate keys the text may hold another container here than the document.
        const std::string& token = Tokens[depth];
        if (token.empty() || token.size() > 9 || token.find_first_not_of("0123456789") != std::string::npos) return 0;
        const std::size_t want = std::stoul(token);
        for (std::size_t i = 0;; ++i) {
          SkipSpace();
          if (i == want) break;
          SkipValue();
          SkipSpace();
          if (p_ >= t_.size() || t_[p_] != ',') return 0;
          ++p_;
        }
        if (depth + 1 == Tokens.size()) return line_;
      } else {
        return 0;
      }
    }
    return line_;
  }

private:
  void SkipSpace() {
    while (p_ < t_.size() && (t_[p_] == ' ' || t_[p_] == '\t' || t_[p_] == '\n' || t_[p_] == '\r')) {
      if (t_[p_] == '\n') ++line_;
      ++p_;
    }
  }
  std::string ReadString() {
    std::string s;
    ++p_;
    while (p_ < t_.size() && t_[p_] != '"') {
      if (t_[p_] == '\\' && p_ + 1 < t_.size()) {
        const char c = t_[++p_];
        s += c == 'n' ? '\n' : c == 't' ? '\t' : c == 'r' ? '\r' : c == 'b' ? '\b' : c == 'f' ? '\f' : c;
        if (c == 'u') s += t_.substr(p_ + 1, 4), p_ += 4;  // names with \u escapes will not match
      } else {
        s += t_[p_];
      }
      ++p_;
    }
    ++p_;
    return s;
  }
  void SkipValue() {
    if (p_ >= t_.size()) return;
    if (t_[p_] == '"') {
      ReadString();
      return;
    }
    if (t_[p_] == '{' || t_[p_] == '[') {
      int depth = 0;
      while (p_ < t_.size()) {
        const char c = t_[p_];
        if (c == '"') {
          ReadString();
          continue;
        }
        if (c == '\n') ++line_;
        ++p_;
        if (c == '{' || c == '[') ++depth;
        else if ((c == '}' || c == ']') && --depth == 0) return;
      }
      return;
    }
    while (p_ < t_.size() && std::string_view(",}] \t\r\n").find(t_[p_]) == std::string_view::npos) ++p_;
  }

  const std::string& t_;
  std::size_t p_ = 0;
  int line_ = 1;
};

}  // namespace

int LineOf(const Json& Document, const std::string& Text, const Json* Node) {
  std::vector<std::string> tokens;
  if (!Node || !PointerOf(Document, Node, tokens)) return 0;
  return TLineScanner(Text).Find(tokens);
}

namespace {
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
int Sextet(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}
}  // namespace

std::string Base64Encode(const std::vector<std::uint8_t>& Bytes) {
  std::string out;
  out.reserve((Bytes.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= Bytes.size(); i += 3) {
    const std::uint32_t v = (Bytes[i] << 16) | (Bytes[i + 1] << 8) | Bytes[i + 2];
    out += kAlphabet[(v >> 18) & 63];
    out += kAlphabet[(v >> 12) & 63];
    out += kAlphabet[(v >> 6) & 63];
    out += kAlphabet[v & 63];
  }
  const std::size_t rest = Bytes.size() - i;
  if (rest > 0) {
    std::uint32_t v = Bytes[i] << 16;
    if (rest == 2) v |= Bytes[i + 1] << 8;
    out += kAlphabet[(v >> 18) & 63];
    out += kAlphabet[(v >> 12) & 63];
    out += rest == 2 ? kAlphabet[(v >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

bool Base64Decode(const std::string& Text, std::vector<std::uint8_t>& Bytes) {
  Bytes.clear();
  if (Text.size() % 4 != 0) return false;
  Bytes.reserve(Text.size() / 4 * 3);
  for (std::size_t i = 0; i < Text.size(); i += 4) {
    const bool last = i + 4 == Text.size();
    const int pad = last ? (Text[i + 3] == '=') + (Text[i + 2] == '=') : 0;
    if (pad == 1 && Text[i + 2] == '=') return false;
    int s[4];
    for (int k = 0; k < 4 - pad; ++k) {
      s[k] = Sextet(Text[i + k]);
      if (s[k] < 0) return false;
    }
    for (int k = 4 - pad; k < 4; ++k) s[k] = 0;
    const std::uint32_t v = (s[0] << 18) | (s[1] << 12) | (s[2] << 6) | s[3];
    Bytes.push_back(static_cast<std::uint8_t>(v >> 16));
    if (pad < 2) Bytes.push_back(static_cast<std::uint8_t>(v >> 8));
    if (pad < 1) Bytes.push_back(static_cast<std::uint8_t>(v));
    // Canonical form only: the bits that padding drops must be zero.
    if ((pad == 1 && (s[2] & 3)) || (pad == 2 && (s[1] & 15))) return false;
  }
  return true;
}

}  // namespace sigflow::detail
