#include "sigflow/core/Strings.h"

#include "sigflow/core/Component.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Streams.h"

namespace sigflow {

// ---------------------------------------------------------------------------- TStrings

int TStrings::Add(const std::string& S) {
  const int index = Count();
  Insert(index, S);
  return index;
}

int TStrings::AddObject(const std::string& S, TObject* AObject) {
  BeginUpdate();
  const int index = Add(S);
  SetObject(index, AObject);
  EndUpdate();
  return index;
}

void TStrings::InsertObject(int Index, const std::string& S, TObject* AObject) {
  BeginUpdate();
  Insert(Index, S);
  SetObject(Index, AObject);
  EndUpdate();
}

void TStrings::AddStrings(const TStrings& Source) {
  BeginUpdate();
  for (int i = 0; i < Source.Count(); ++i) AddObject(Source.Strings(i), Source.Objects(i));
  EndUpdate();
}

int TStrings::IndexOf(const std::string& S) const {
  for (int i = 0; i < Count(); ++i)
    if (SameText(Strings(i), S)) return i;
  return -1;
}

int TStrings::IndexOfObject(const TObject* AObject) const {
  for (int i = 0; i < Count(); ++i)
    if (Objects(i) == AObject) return i;
  return -1;
}

std::string TStrings::Text() const {
  std::string text;
  for (int i = 0; i < Count(); ++i) {
    text += Strings(i);
    text += "\r\n";
  }
  return text;
}

void TStrings::SetText(const std::string& Value) {
  BeginUpdate();
  Clear();
  std::size_t start = 0;
  const std::size_t n = Value.size();
  while (start < n) {
    std::size_t end = start;
    while (end < n && Value[end] != '\r' && Value[end] != '\n') ++end;
    Add(Value.substr(start, end - start));
    // CR LF is one break; a lone CR or LF is one too.
    if (end < n) end += (Value[end] == '\r' && end + 1 < n && Value[end + 1] == '\n') ? 2 : 1;
    start = end;
  }
  EndUpdate();
}

std::string TStrings::CommaText() const {
  std::string text;
  for (int i = 0; i < Count(); ++i) {
    if (i) text += ',';
    const std::string s = Strings(i);
    const bool quote = s.empty() || s.find_first_of(" ,\"") != std::string::npos;
    if (!quote) {
      text += s;
      continue;
    }
    text += '"';
    for (char c : s) {
      if (c == '"') text += '"';
      text += c;
    }
    text += '"';
  }
  return text;
}

void TStrings::SaveToStream(TStream& Stream) const {
  const std::string text = Text();
  Stream.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
}

void TStrings::LoadFromStream(TStream& Stream) {
  const std::int64_t left = Stream.Size() - Stream.Position();
  std::string text(static_cast<std::size_t>(left > 0 ? left : 0), '\0');
  Stream.ReadBuffer(text.data(), static_cast<std::int64_t>(text.size()));
  SetText(text);
}

void TStrings::BeginUpdate() {
  if (updateCount_++ == 0) SetUpdateState(true);
}

void TStrings::EndUpdate() {
  if (updateCount_ == 0) return;
  if (--updateCount_ > 0) return;
  SetUpdateState(false);
  if (changedWhileUpdating_) {
    changedWhileUpdating_ = false;
    if (OnChange) OnChange(this);
  }
}

void TStrings::Changed() {
  if (updateCount_ > 0) {
    changedWhileUpdating_ = true;
    return;
  }
  if (OnChange) OnChange(this);
}

void TStrings::Assign(TPersistent* Source) {
  if (auto* source = dynamic_cast<TStrings*>(Source)) {
    if (source == this) return;
    BeginUpdate();
    Clear();
    AddStrings(*source);
    EndUpdate();
    return;
  }
  TPersistent::Assign(Source);
}

void TStrings::DefineProperties(TFiler& Filer) {
  Filer.DefineTextProperty(
      "Strings", [this](const std::string& text) { SetText(text); }, [this] { return Text(); }, Count() > 0);
}

// ---------------------------------------------------------------------------- TStringList

std::size_t TStringList::Check(int Index) const {
  if (Index < 0 || Index >= Count())
    throw EStringListError("List index out of bounds (" + std::to_string(Index) + ")");
  return static_cast<std::size_t>(Index);
}

void TStringList::SetString(int Index, const std::string& S) {
  items_[Check(Index)].String = S;
  Changed();
}

void TStringList::SetObject(int Index, TObject* AObject) {
  items_[Check(Index)].Object = AObject;
  Changed();
}

void TStringList::Insert(int Index, const std::string& S) {
  if (Index < 0 || Index > Count())
    throw EStringListError("List index out of bounds (" + std::to_string(Index) + ")");
  items_.insert(items_.begin() + Index, TItem{S, nullptr});
  Changed();
}

void TStringList::Delete(int Index) {
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(Check(Index)));
  Changed();
}

void TStringList::Clear() {
  if (items_.empty()) return;
  items_.clear();
  Changed();
}

}  // namespace sigflow
