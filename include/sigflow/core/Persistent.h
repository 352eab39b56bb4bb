#pragma once
// TPersistent: an object that can copy itself from another (Assign) and that has published
// properties (Properties()) and custom stored data (DefineProperties) for persistence.
#include <functional>
#include <string>

#include "sigflow/core/Object.h"

namespace sigflow {

class TStream;
class TPropertyTable;

// What a class gives the persistence layer beyond its published properties: named blocks of
// binary data (stored as base64) or text. Readers run in the order of definition.
class TFiler {
public:
  using TStreamProc = std::function<void(TStream& Stream)>;
  virtual ~TFiler() = default;
  // HasData false: the tree writer skips the property (the reader never sees it). Settings
  // streams write every property, so WriteData must cope with an empty state.
  virtual void DefineBinaryProperty(const std::string& Name, TStreamProc ReadData, TStreamProc WriteData,
                                    bool HasData) = 0;
  virtual void DefineTextProperty(const std::string& Name, std::function<void(const std::string&)> ReadData,
                                  std::function<std::string()> WriteData, bool HasData) = 0;
};

class TPersistent : public TObject {
public:
  std::string ClassName() const override { return "TPersistent"; }

  // Copies Source into this object. The default hands over to Source->AssignTo(this), whose
  // default raises EConvertError "Cannot assign a <Source class> to a <this class>"
  // ("Cannot assign a nil to a ..." for a null Source).
  virtual void Assign(TPersistent* Source);

  // The published properties of the object's class. A class that publishes properties
  // declares a static ClassProperties() chained to its parent's and overrides this to return it.
  static const TPropertyTable& ClassProperties();
  virtual const TPropertyTable& Properties() const { return ClassProperties(); }

  virtual void DefineProperties(TFiler& Filer) {}

  // Called by the writers (component trees, settings streams) before anything of the object
  // is written, so it can bring stored state up to date, e.g. save a working copy back.
  virtual void BeforeWrite() {}

protected:
  virtual void AssignTo(TPersistent* Dest);
  [[noreturn]] void AssignError(TPersistent* Source);
};

}  // namespace sigflow
