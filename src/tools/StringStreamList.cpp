#include "sigflow/tools/StringStreamList.h"

#include <limits>
#include <memory>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

namespace {

std::int64_t BytesLeft(TStream& Stream) {
  const std::int64_t left = Stream.Size() - Stream.Position();
  return left > 0 ? left : 0;
}

// Sizes come from outside: check them against the stream before allocating anything.
std::int64_t ReadCheckedSize(TStream& Stream, const std::string& What) {
  const std::int32_t size = Stream.ReadValue<std::int32_t>();
  if (size < 0) throw EReadError("Invalid " + What + ": " + std::to_string(size));
  const std::int64_t left = BytesLeft(Stream);
  if (size > left)
    throw EReadError(What + " " + std::to_string(size) + " exceeds the " + std::to_string(left) +
                     " bytes left in the stream");
  return size;
}

void WriteSize(TStream& Stream, std::int64_t Size, const std::string& What) {
  if (Size > std::numeric_limits<std::int32_t>::max())
    throw EWriteError(What + " " + std::to_string(Size) + " does not fit the 4-byte size field");
  Stream.WriteValue<std::int32_t>(static_cast<std::int32_t>(Size));
}

}  // namespace

TStringStreamList::~TStringStreamList() {
  OnChange = nullptr;
  TStringStreamList::Clear();
}

TMemoryStream* TStringStreamList::Streams(int Index) const {
  return static_cast<TMemoryStream*>(TStringList::Objects(Index));
}

void TStringStreamList::SetStreams(int Index, TStream& Value) {
  TMemoryStream* stream = Streams(Index);
  if (&Value == stream) return;
  stream->LoadFromStream(Value);
  stream->SetPosition(0);
}

int TStringStreamList::Add(const std::string& Name) {
  const int index = Count();
  Insert(index, Name);
  return index;
}

void TStringStreamList::Insert(int Index, const std::string& Name) {
  auto stream = std::make_unique<TMemoryStream>();
  BeginUpdate();
  try {
    TStringList::Insert(Index, Name);
    TStringList::SetObject(Index, stream.release());
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStringStreamList::Delete(int Index) {
  std::unique_ptr<TMemoryStream> stream(Streams(Index));
  BeginUpdate();
  TStringList::SetObject(Index, nullptr);
  TStringList::Delete(Index);
  EndUpdate();
}

void TStringStreamList::Clear() {
  for (int n = Count(); n > 0; --n) Delete(0);
}

void TStringStreamList::SetObject(int Index, TObject* AObject) {
  TMemoryStream* stream = Streams(Index);
  if (!AObject) {
    stream->Clear();
  } else if (auto* source = dynamic_cast<TStream*>(AObject)) {
    SetStreams(Index, *source);
  } else {
    throw ENoOperation();
  }
  Changed();
}

void TStringStreamList::SaveToStream(TStream& Stream) const {
  const std::string text = Text();
  WriteSize(Stream, static_cast<std::int64_t>(text.size()), "Names length");
  Stream.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
  SaveBinaryStream(Stream);
}

void TStringStreamList::LoadFromStream(TStream& Stream) {
  BeginUpdate();
  try {
    const std::int64_t length = ReadCheckedSize(Stream, "Names length");
    std::string text(static_cast<std::size_t>(length), '\0');
    Stream.ReadBuffer(text.data(), length);
    SetText(text);
    LoadBinaryStream(Stream);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStringStreamList::SaveBinaryStream(TStream& Stream) const {
  for (int i = 0; i < Count(); ++i) {
    TMemoryStream* stream = Streams(i);
    const std::int64_t size = stream->Size();
    WriteSize(Stream, size, "Size of template " + std::to_string(i));
    if (size > 0) Stream.WriteBuffer(stream->Memory(), size);
  }
}

void TStringStreamList::LoadBinaryStream(TStream& Stream) {
  for (int i = 0; i < Count(); ++i) {
    const std::int64_t size = ReadCheckedSize(Stream, "Size of template " + std::to_string(i));
    TMemoryStream* stream = Streams(i);
    stream->SetSize(size);
    stream->SetPosition(0);
    if (size != 0) Stream.ReadBuffer(stream->Memory(), size);
    stream->SetPosition(0);
  }
}

void TStringStreamList::AppendFromStream(TStream& Stream) {
  TStringStreamList list;
  list.LoadFromStream(Stream);
  AppendFromList(list);
}

void TStringStreamList::AppendFromList(TStringStreamList& Src) {
  // Counted first, so appending a list to itself ends.
  const int n = Src.Count();
  BeginUpdate();
  try {
    for (int i = 0; i < n; ++i) {
      TMemoryStream* source = Src.Streams(i);
      source->SetPosition(0);
      const int index = Add(Src.Strings(i));
      Streams(index)->LoadFromStream(*source);
      Streams(index)->SetPosition(0);
    }
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStringStreamList::Assign(TPersistent* Source) {
  if (auto* source = dynamic_cast<TStringStreamList*>(Source)) {
    if (source == this) return;
    BeginUpdate();
    try {
      Clear();
      TMemoryStream image;
      source->SaveToStream(image);
      image.SetPosition(0);
      LoadFromStream(image);
    } catch (...) {
      EndUpdate();
      throw;
    }
    EndUpdate();
    return;
  }
  TStringList::Assign(Source);
}

void TStringStreamList::DefineProperties(TFiler& Filer) {
  Filer.DefineTextProperty(
      "Strings",
      [this](const std::string& Text) {
        BeginUpdate();
        try {
          SetText(Text);
        } catch (...) {
          EndUpdate();
          throw;
        }
        EndUpdate();
      },
      [this] { return Text(); }, true);
  Filer.DefineBinaryProperty(
      "StreamBinaryData", [this](TStream& Stream) { LoadBinaryStream(Stream); },
      [this](TStream& Stream) { SaveBinaryStream(Stream); }, true);
}

}  // namespace sigflow
