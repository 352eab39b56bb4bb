#pragma once
// The manager of named templates: moves the working copy (Template) in and out of the store
// (Templates) when the selected template changes, and persists the store.
//
// Stream image (SaveToStream), integers 4-byte little-endian signed:
//   the class name of Owner as a short string (the format tag), TemplateIndex, then the
//   store's image (see TStringStreamList).
#include <memory>
#include <string>

#include "sigflow/core/Persistent.h"
#include "sigflow/core/Streams.h"
#include "sigflow/tools/StreamedList.h"
#include "sigflow/tools/StringStreamList.h"

namespace sigflow {

class TComponent;
class TPropertyTable;

class TStreamTemplates : public TPersistent {
public:
  // AOwner becomes Owner, the object whose class name tags the persisted data. With no
  // Owner the tag is this object's own class name.
  explicit TStreamTemplates(TComponent* AOwner = nullptr);
  ~TStreamTemplates() override;
  TStreamTemplates(const TStreamTemplates&) = delete;
  TStreamTemplates& operator=(const TStreamTemplates&) = delete;

  std::string ClassName() const override { return "TStreamTemplates"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  TObject* Owner() const { return owner_; }
  void SetOwner(TObject* Value) { owner_ = Value; }

  // The working copy; not owned. Without one, selecting only tracks index and name.
  TStreamedList* Template() const { return template_; }
  void SetTemplate(TStreamedList* Value) { template_ = Value; }

  int TemplateIndex() const { return index_; }
  // The one place where working copy and store meet. Nothing happens for the present index.
  // Otherwise the working copy is saved back into its entry (if it shows one), then entry
  // Value is loaded into it; any Value outside the store selects nothing and clears it.
  // While the owner component is being loaded from a tree, the store is read after this
  // property: once its blocks are in, the working copy is reloaded from the new store at the
  // index last set (or the present one), without saving the stale copy back.
  void SetTemplateIndex(int Value);

  const std::string& TemplateName() const { return name_; }
  // Selects the template of that name (ASCII case ignored); an unknown name changes nothing.
  void SetTemplateName(const std::string& Value);

  TStringStreamList* Templates() const { return templates_.get(); }
  // Always raises Exception "Operation not supported!".
  void SetTemplates(TStringStreamList* Value);

  // Saves the working copy into its entry and loads it again.
  void Consolidate();
  // Writers store the store, so unsaved edits of the working copy go into it first.
  void BeforeWrite() override { Consolidate(); }

  // A new template holding what a cleared working copy writes, then selected.
  virtual void AddTemplate(const std::string& Name);
  // A new template holding the working copy as it stands, then selected.
  virtual void AddCopyTemplate(const std::string& Name);
  // Deselects, empties the store and clears the working copy.
  virtual void Clear();
  // Deselects (saving the working copy back), then removes entry Index.
  virtual void Delete(int Index);
  virtual void Update();

  // Consolidates first, so the image holds the working copy's latest state.
  virtual void SaveToStream(TStream& Stream);
  // Deselects, checks the tag (EReadError "Data format type missmatch: <tag> <> <class
  // name>", nothing else read), reads index and store, selects the index read.
  virtual void LoadFromStream(TStream& Stream);
  // Creates (or replaces) the file.
  virtual void SaveToFile(const std::string& FileName);
  // A missing file is silently ignored; otherwise read with writers kept out.
  virtual void LoadFromFile(const std::string& FileName);

  // From a TStreamTemplates: its store, then its TemplateIndex selected (no reload when the
  // index is the present one). Anything else raises EConvertError.
  void Assign(TPersistent* Source) override;

private:
  std::string Tag() const;
  bool OwnerLoading() const;
  void SelectPending();

  TObject* owner_ = nullptr;
  TStreamedList* template_ = nullptr;
  int index_ = -1;
  int pending_ = -1;  // the index last set while the owner loads
  bool hasPending_ = false;
  std::string name_;
  std::unique_ptr<TStringStreamList> templates_;
};

}  // namespace sigflow
