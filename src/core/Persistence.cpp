#include "sigflow/core/Persistence.h"

#include <algorithm>

#include "PropertyJson.h"
#include "sigflow/core/ClassRegistry.h"

namespace sigflow {

namespace {

using detail::Json;

constexpr int kMaxDepth = 256;

[[noreturn]] void Fail(const std::string& Path, const std::string& What, const Json& Where) {
  throw detail::EJsonReadError(Path + ": " + What, &Where);
}

std::string RootPath(const TComponent& Root) { return Root.Name().empty() ? Root.ClassName() : Root.Name(); }

Json WriteComponent(TComponent& C, const std::string& Path) {
  Json node = Json::object();
  node["class"] = C.ClassName();
  if (!C.Name().empty()) node["name"] = C.Name();
  Json body = detail::WriteObject(C, detail::TWriteScope{}, Path);
  for (auto& [key, value] : body.items()) node[key] = std::move(value);
  Json children = Json::array();
  for (int i = 0; i < C.ComponentCount(); ++i) {
    TComponent* child = C.Components(i);
    if (child->ComponentState().Contains(csSubComponent)) continue;
    const std::string path = child->Name().empty() ? Path + ".children[" + std::to_string(i) + "]" : Path + "." + child->Name();
    children.push_back(WriteComponent(*child, path));
  }
  if (!children.empty()) node["children"] = std::move(children);
  return node;
}

TComponent* FindByName(TComponent& From, const std::string& Name) {
  if (SameText(From.Name(), Name)) return &From;
  for (int i = 0; i < From.ComponentCount(); ++i)
    if (TComponent* found = FindByName(*From.Components(i), Name)) return found;
  return nullptr;
}

struct TNodePlan {
  TComponent* Component = nullptr;
  std::string Path;
  detail::TObjectPlan Plan;
  std::vector<TNodePlan> Children;
};

class TTreeLoader {
public:
  explicit TTreeLoader(TComponent& Root) : root_(Root) {}

  void Load(const std::string& Text) {
    const Json document = detail::ParseJson(Text);
    TNodePlan plan;
    std::string rootName;
    try {
      rootName = CheckRoot(document);
      plan = Prepare(document, root_, RootPath(root_), 0);
      CheckReferences(plan, rootName);
    } catch (const detail::EJsonReadError& e) {
      Rollback();
      const int line = detail::LineOf(document, Text, e.Node);
      throw EReadError(line > 0 ? e.Message() + " (line " + std::to_string(line) + ")" : e.Message());
    } catch (...) {
      Rollback();
      throw;
    }
    Apply(plan, rootName);
  }

private:
  std::string CheckRoot(const Json& Node) {
    const std::string path = RootPath(root_);
    if (!Node.is_object()) Fail(path, "expected an object", Node);
    const std::string cls = ClassOf(Node, path);
    if (cls != root_.ClassName()) Fail(path, "class \"" + cls + "\" does not match " + root_.ClassName(), Node.at("class"));
    const std::string name = NameOf(Node, path);
    if (name != root_.Name() && root_.Owner()) {
      TComponent* other = root_.Owner()->FindComponent(name);
      if (other && other != &root_) Fail(path, "A component named " + name + " already exists", Node.at("name"));
    }
    return name;
  }

  static std::string ClassOf(const Json& Node, const std::string& Path) {
    auto it = Node.find("class");
    if (it == Node.end()) Fail(Path, "missing \"class\"", Node);
    if (!it->is_string()) Fail(Path, "\"class\" is not a string", *it);
    return it->get<std::string>();
  }

  static std::string NameOf(const Json& Node, const std::string& Path) {
    auto it = Node.find("name");
    if (it == Node.end()) return {};
    if (!it->is_string()) Fail(Path, "\"name\" is not a string", *it);
    std::string name = it->get<std::string>();
    if (name.empty() || !IsValidIdent(name)) Fail(Path, "'" + name + "' is not a valid component name", *it);
    return name;
  }

  TNodePlan Prepare(const Json& Node, TComponent& C, const std::string& Path, int Depth) {
    if (Depth > kMaxDepth) Fail(Path, "components nested too deeply", Node);
    detail::TReadScope scope;
    scope.ExtraKeys = {"class", "name", "children"};
    TNodePlan node;
    node.Component = &C;
    node.Path = Path;
    node.Plan = detail::PlanObject(Node, C.Properties(), &C, scope, Path);
    auto it = Node.find("children");
    if (it == Node.end()) return node;
    if (!it->is_array()) Fail(Path + ".children", "expected a list", *it);
    std::vector<std::string> seen;
    int index = 0;
    for (const Json& childNode : *it) {
      std::string path = Path + ".children[" + std::to_string(index++) + "]";
      if (!childNode.is_object()) Fail(path, "expected an object", childNode);
      const std::string name = NameOf(childNode, path);
      if (!name.empty()) path = Path + "." + name;
      const std::string cls = ClassOf(childNode, path);
      if (!name.empty()) {
        if (std::any_of(seen.begin(), seen.end(), [&](const std::string& s) { return SameText(s, name); }))
          Fail(Path, "A component named " + name + " already exists", childNode.at("name"));
        seen.push_back(name);
      }
      TComponent* child = name.empty() ? nullptr : C.FindComponent(name);
      if (child) {
        if (child->ClassName() != cls) Fail(path, "class \"" + cls + "\" does not match the existing " + child->ClassName(), childNode.at("class"));
      } else {
        const TComponentClass* info = FindComponentClass(cls);
        if (!info) Fail(path, "unknown class \"" + cls + "\"", childNode.at("class"));
        try {
          child = info->Create(&C);
        } catch (const Exception& e) {
          Fail(path, e.Message(), childNode);
        }
        created_.push_back(child);
        child->SetName(name);
      }
      node.Children.push_back(Prepare(childNode, *child, path, Depth + 1));
    }
    return node;
  }

  // RootName: the name the root will carry, which references may already use.
  void CheckReferences(const TNodePlan& Node, const std::string& RootName) {
    std::vector<const detail::TObjectPlan::TRef*> refs;
    detail::CollectRefs(Node.Plan, refs);
    for (const auto* r : refs) {
      if (r->Name.empty()) continue;
      TComponent* target = !RootName.empty() && SameText(r->Name, RootName) ? &root_ : FindByName(root_, r->Name);
      if (!target) Fail(r->Path, "unknown component \"" + r->Name + "\"", *r->Node);
      if (!r->Prop->Accepts(target)) Fail(r->Path, "\"" + r->Name + "\" is not a " + r->Prop->RefType, *r->Node);
    }
    for (const auto& child : Node.Children) CheckReferences(child, RootName);
  }

  void Rollback() {
    while (!created_.empty()) {
      delete created_.back();
      created_.pop_back();
    }
  }

  static void ForEach(const TNodePlan& Node, const std::function<void(const TNodePlan&)>& F) {
    F(Node);
    for (const auto& child : Node.Children) ForEach(child, F);
  }

  void Apply(const TNodePlan& Plan, const std::string& RootName) {
    ForEach(Plan, [](const TNodePlan& n) { n.Component->SetLoading(true); });
    try {
      if (!RootName.empty()) root_.SetName(RootName);
      std::vector<detail::TRefFixup> fixups;
      ForEach(Plan, [&](const TNodePlan& n) {
        try {
          detail::ApplyPlan(*n.Component, n.Plan, fixups);
        } catch (const EReadError&) {
          throw;
        } catch (const Exception& e) {
          throw EReadError(n.Path + ": " + e.Message());
        }
      });
      for (const auto& f : fixups)
        f.Prop->Set(*f.Target, TPropValue(f.Name.empty() ? nullptr : FindByName(root_, f.Name)));
    } catch (...) {
      ForEach(Plan, [](const TNodePlan& n) { n.Component->SetLoading(false); });
      throw;
    }
    ForEach(Plan, [](const TNodePlan& n) {
      n.Component->SetLoading(false);
      n.Component->Loaded();
    });
  }

  TComponent& root_;
  std::vector<TComponent*> created_;
};

std::string ReadAll(TStream& Stream) {
  const std::int64_t left = Stream.Size() - Stream.Position();
  std::string text(static_cast<std::size_t>(std::max<std::int64_t>(left, 0)), '\0');
  Stream.ReadBuffer(text.data(), static_cast<std::int64_t>(text.size()));
  return text;
}

}  // namespace

std::string SaveComponentTreeToString(TComponent& Root) {
  return detail::DumpJson(WriteComponent(Root, RootPath(Root)));
}

void LoadComponentTreeFromString(TComponent& Root, const std::string& Text) { TTreeLoader(Root).Load(Text); }

void SaveComponentTree(TComponent& Root, TStream& Stream) {
  const std::string text = SaveComponentTreeToString(Root);
  Stream.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
}

void LoadComponentTree(TComponent& Root, TStream& Stream) { LoadComponentTreeFromString(Root, ReadAll(Stream)); }

void SaveComponentTreeToFile(TComponent& Root, const std::string& FileName) {
  const std::string text = SaveComponentTreeToString(Root);
  TFileStream file(FileName, fmCreate);
  file.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
}

void LoadComponentTreeFromFile(TComponent& Root, const std::string& FileName) {
  std::string text;
  {
    TFileStream file(FileName, fmOpenRead | fmShareDenyWrite);
    text = ReadAll(file);
  }
  LoadComponentTreeFromString(Root, text);
}

}  // namespace sigflow
