#pragma once
// A string list whose every entry owns a memory stream: the in-memory store of named
// templates. An entry gets its own empty stream the moment it is added and the stream dies
// with the entry.
//
// Stream image (SaveToStream / LoadFromStream), integers 4-byte little-endian signed:
//   L, the names text (L bytes, each name followed by CR LF), then per entry in order its
//   size S and its S bytes (SaveBinaryStream / LoadBinaryStream).
// The number of blocks is the number of names, so a name containing a line break does not
// survive the image.
#include <cstdint>
#include <string>

#include "sigflow/core/Streams.h"
#include "sigflow/core/Strings.h"

namespace sigflow {

class TStringStreamList : public TStringList {
public:
  TStringStreamList() = default;
  ~TStringStreamList() override;

  std::string ClassName() const override { return "TStringStreamList"; }

  // The stream of entry Index (EStringListError for a bad index). Owned by the list.
  TMemoryStream* Streams(int Index) const;
  // Replaces the contents of entry Index's stream with the whole of Value, position 0.
  void SetStreams(int Index, TStream& Value);

  // Adds Name with a new empty stream; returns its index.
  int Add(const std::string& Name) override;
  // Inserts Name with a new empty stream.
  void Insert(int Index, const std::string& Name) override;
  // Frees the entry's stream and removes the entry.
  void Delete(int Index) override;
  // Deletes entry 0 as many times as there are entries.
  void Clear() override;
  // The entries' objects are their streams: a TStream given here has its contents copied
  // into the entry's stream, nil empties it, any other object raises ENoOperation.
  void SetObject(int Index, TObject* AObject) override;

  void SaveToStream(TStream& Stream) const override;
  // Replaces the list by the image at Stream's position. A names length or block size that
  // is negative or larger than what is left in Stream raises EReadError before anything is
  // allocated; entries read before a failure stay in the list.
  void LoadFromStream(TStream& Stream) override;

  // Per entry: its stream's size and whole contents.
  virtual void SaveBinaryStream(TStream& Stream) const;
  // Per entry in order: a size and that many bytes, into the entry's stream (position 0).
  virtual void LoadBinaryStream(TStream& Stream);
  // Reads a complete image from Stream and appends its entries.
  virtual void AppendFromStream(TStream& Stream);
  // Appends copies of Src's entries (names and stream contents); duplicates are kept.
  virtual void AppendFromList(TStringStreamList& Src);

  // From a TStringStreamList: names and stream contents through the stream image. From
  // another TStrings: its names, each with an empty stream unless its object is a stream.
  void Assign(TPersistent* Source) override;
  // "Strings" (the names as CR LF text) then "StreamBinaryData" (SaveBinaryStream), both
  // always stored; readers run in that order, so the entries exist when their data arrives.
  void DefineProperties(TFiler& Filer) override;
};

}  // namespace sigflow
