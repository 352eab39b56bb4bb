#pragma once
// TVarnComponent: the base of the library's components. It adds to TComponent the block-assign
// and editor-active flags, the update slot, and settings and templates copied and streamed
// through the published property table.
//
// Settings stream (SaveToStream): the 4 bytes "SFS1", the class name as a short string (one
// length byte, then the characters), a 4-byte little-endian byte count N, then N bytes of
// UTF-8 JSON {"properties": {...}} holding every writable published property except component
// references, with owned sub-objects (and their defined data) inline. Template streams are
// the same with the tag "SFT1" and only TemplateProperties(). Loading reads the class name
// first and refuses another class; the JSON is checked entirely before anything is set.
#include <string>
#include <vector>

#include "sigflow/core/Component.h"
#include "sigflow/core/Properties.h"
#include "sigflow/core/Streams.h"

namespace sigflow {

class TVarnComponent : public TComponent {
public:
  explicit TVarnComponent(TComponent* AOwner) : TComponent(AOwner) {}

  std::string ClassName() const override { return "TVarnComponent"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  virtual void SetBlockAssign(bool Value) { blockAssign_ = Value; }
  bool BlockAssign() const { return blockAssign_; }

  // Recomputes the component; the base has nothing to compute and returns true.
  virtual bool Update() { return true; }

  // Class name of the editor form that edits this component; empty when there is none.
  virtual std::string EditorClass() const { return {}; }

  void SetEditorActive(bool Value) { editorActive_ = Value; }
  bool EditorActive() const { return editorActive_; }

  // Settings. Loading raises EReadError:
  //   "Stream does not hold component settings" (wrong tag or truncated header),
  //   "Settings of <class read> cannot be loaded into a <this class>",
  //   "<this class>.<Property>: <problem>" for bad content.
  virtual void SaveToStream(TStream& Stream);
  virtual void LoadFromStream(TStream& Stream);
  virtual void SaveToFile(const std::string& FileName);
  virtual void LoadFromFile(const std::string& FileName);

  // Templates: the settings named by TemplateProperties(). Errors as for settings, with
  // "Stream does not hold a component template" and "Template of X cannot be loaded into a Y".
  virtual void AssignTemplate(TPersistent* Source);
  virtual void SaveTemplateToStream(TStream& Stream);
  virtual void LoadTemplateFromStream(TStream& Stream);
  virtual void SaveTemplateToFile(const std::string& FileName);
  virtual void LoadTemplateFromFile(const std::string& FileName);
  // The published properties that make up a template: by default all but component references.
  virtual std::vector<const TPropInfo*> TemplateProperties() const;

  // Copies every writable published property (references and owned sub-objects included)
  // from Source, which must be of this class or a descendant; otherwise EConvertError
  // "Cannot assign a <Source class> to a <this class>".
  void Assign(TPersistent* Source) override;

protected:
  // Whether Source is of this object's class or derived from it (its table chains to ours).
  bool IsCompatible(const TPersistent* Source) const;

private:
  std::vector<const TPropInfo*> SettingsProperties() const;
  void WriteSettings(TStream& Stream, const char* Tag, const std::vector<const TPropInfo*>& Props);
  void ReadSettings(TStream& Stream, const char* Tag, const std::vector<const TPropInfo*>& Props, bool Template);

  bool blockAssign_ = false;
  bool editorActive_ = false;
};

}  // namespace sigflow
