#pragma once
// TStrings: a list of strings, each with an attached object pointer (not owned).
// TStringList: the in-memory implementation.
//
// Text() joins the entries with CR LF, ending with CR LF; SetText() splits at LF, CR LF or a
// lone CR. IndexOf compares ASCII case-insensitively. Changes fire OnChange, once at the
// outermost EndUpdate while updates are nested.
#include <string>
#include <vector>

#include "sigflow/core/Object.h"
#include "sigflow/core/Persistent.h"

namespace sigflow {

class TStrings : public TPersistent {
public:
  std::string ClassName() const override { return "TStrings"; }

  virtual int Count() const = 0;
  // Index errors raise EStringListError "List index out of bounds (i)".
  virtual std::string Strings(int Index) const = 0;
  virtual void SetString(int Index, const std::string& S) = 0;
  virtual TObject* Objects(int Index) const = 0;
  virtual void SetObject(int Index, TObject* AObject) = 0;

  virtual int Add(const std::string& S);
  virtual int AddObject(const std::string& S, TObject* AObject);
  virtual void Insert(int Index, const std::string& S) = 0;
  void InsertObject(int Index, const std::string& S, TObject* AObject);
  virtual void Delete(int Index) = 0;
  virtual void Clear() = 0;
  void AddStrings(const TStrings& Source);

  // First entry equal to S ignoring ASCII case, or -1.
  virtual int IndexOf(const std::string& S) const;
  int IndexOfObject(const TObject* AObject) const;

  std::string Text() const;
  virtual void SetText(const std::string& Value);
  std::string CommaText() const;

  // The text form (as Text()) to and from a stream; LoadFromStream reads to the end.
  virtual void SaveToStream(TStream& Stream) const;
  virtual void LoadFromStream(TStream& Stream);

  void BeginUpdate();
  void EndUpdate();
  int UpdateCount() const { return updateCount_; }

  TNotifyEvent OnChange;

  // Copies the strings and their object pointers of a TStrings.
  void Assign(TPersistent* Source) override;
  // Stores the entries as text under "Strings".
  void DefineProperties(TFiler& Filer) override;

protected:
  // Descendants call this after every change.
  void Changed();
  virtual void SetUpdateState(bool Updating) {}

private:
  int updateCount_ = 0;
  bool changedWhileUpdating_ = false;
};

class TStringList : public TStrings {
public:
  TStringList() = default;
  TStringList(const TStringList&) = delete;
  TStringList& operator=(const TStringList&) = delete;

  std::string ClassName() const override { return "TStringList"; }

  int Count() const override { return static_cast<int>(items_.size()); }
  std::string Strings(int Index) const override { return items_[Check(Index)].String; }
  void SetString(int Index, const std::string& S) override;
  TObject* Objects(int Index) const override { return items_[Check(Index)].Object; }
  void SetObject(int Index, TObject* AObject) override;

  void Insert(int Index, const std::string& S) override;
  void Delete(int Index) override;
  void Clear() override;

private:
  struct TItem {
    std::string String;
    TObject* Object = nullptr;
  };
  std::size_t Check(int Index) const;
  std::vector<TItem> items_;
};

}  // namespace sigflow
