#pragma once
// Exception classes of the framework. Every error of the library is an Exception (or a
// descendant) whose Message() is the exact text the library documents.
#include <stdexcept>
#include <string>

namespace sigflow {

class Exception : public std::runtime_error {
public:
  explicit Exception(const std::string& message) : std::runtime_error(message) {}
  std::string Message() const { return what(); }
  // Name of the exception class, as "EReadError".
  virtual const char* ClassName() const noexcept { return "Exception"; }
};

#define SIGFLOW_EXCEPTION_CLASS(Name, Base)                                 \
  class Name : public Base {                                                \
  public:                                                                   \
    using Base::Base;                                                       \
    const char* ClassName() const noexcept override { return #Name; }       \
  };

// An operation that a class does not support.
class ENoOperation : public Exception {
public:
  ENoOperation() : Exception("Operation not supported!") {}
  explicit ENoOperation(const std::string& message) : Exception(message) {}
  const char* ClassName() const noexcept override { return "ENoOperation"; }
};

SIGFLOW_EXCEPTION_CLASS(EOutOfResources, Exception)
SIGFLOW_EXCEPTION_CLASS(EConvertError, Exception)
SIGFLOW_EXCEPTION_CLASS(EStreamError, Exception)
SIGFLOW_EXCEPTION_CLASS(EReadError, EStreamError)
SIGFLOW_EXCEPTION_CLASS(EWriteError, EStreamError)
SIGFLOW_EXCEPTION_CLASS(EFOpenError, EStreamError)
SIGFLOW_EXCEPTION_CLASS(EFCreateError, EStreamError)
SIGFLOW_EXCEPTION_CLASS(EComponentError, Exception)
SIGFLOW_EXCEPTION_CLASS(EListError, Exception)
SIGFLOW_EXCEPTION_CLASS(EStringListError, EListError)
SIGFLOW_EXCEPTION_CLASS(EPropertyError, Exception)

#undef SIGFLOW_EXCEPTION_CLASS

}  // namespace sigflow
