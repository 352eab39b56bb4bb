#pragma once
// Byte streams. Read/Write move what they can and return the count moved, never throwing on
// a short transfer; ReadBuffer/WriteBuffer insist on the whole count and throw
// EReadError/EWriteError otherwise. Positions and sizes are 64-bit, so files over 4 GiB work.
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Object.h"

namespace sigflow {

enum TSeekOrigin : std::uint8_t { soBeginning, soCurrent, soEnd };

class TStream : public TObject {
public:
  std::string ClassName() const override { return "TStream"; }

  // Moves up to count bytes; returns how many were moved (0 at the end).
  virtual std::int64_t Read(void* buffer, std::int64_t count) = 0;
  virtual std::int64_t Write(const void* buffer, std::int64_t count) = 0;
  // Returns the new position. Seeking beyond the end is allowed; a later write extends.
  virtual std::int64_t Seek(std::int64_t offset, TSeekOrigin origin) = 0;

  std::int64_t Position() { return Seek(0, soCurrent); }
  void SetPosition(std::int64_t pos) { Seek(pos, soBeginning); }
  virtual std::int64_t Size();
  virtual void SetSize(std::int64_t newSize) = 0;

  // Throw EReadError("Stream read error") / EWriteError("Stream write error") when fewer
  // than count bytes move.
  void ReadBuffer(void* buffer, std::int64_t count);
  void WriteBuffer(const void* buffer, std::int64_t count);

  // Copies count bytes from source's current position; count 0 copies the whole of source
  // from its beginning. Returns the count copied; throws on a short transfer.
  std::int64_t CopyFrom(TStream& source, std::int64_t count);

  // Fixed-layout fields: little-endian on every platform.
  template <class T>
  void WriteValue(T value) {
    static_assert(std::is_arithmetic_v<T>);
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) ReverseBytes(bytes, sizeof(T));
    WriteBuffer(bytes, sizeof(T));
  }
  template <class T>
  T ReadValue() {
    static_assert(std::is_arithmetic_v<T>);
    unsigned char bytes[sizeof(T)];
    ReadBuffer(bytes, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) ReverseBytes(bytes, sizeof(T));
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
  }
  // A short string: one length byte (0..255) then the characters. Longer text is an error.
  void WriteShortString(const std::string& s);
  std::string ReadShortString();

private:
  static void ReverseBytes(unsigned char* p, std::size_t n) {
    for (std::size_t i = 0; i < n / 2; ++i) std::swap(p[i], p[n - 1 - i]);
  }
};

// A stream in memory. Memory() stays valid until the size grows past the capacity.
class TMemoryStream : public TStream {
public:
  std::string ClassName() const override { return "TMemoryStream"; }

  std::int64_t Read(void* buffer, std::int64_t count) override;
  std::int64_t Write(const void* buffer, std::int64_t count) override;
  std::int64_t Seek(std::int64_t offset, TSeekOrigin origin) override;
  std::int64_t Size() override { return static_cast<std::int64_t>(data_.size()); }
  void SetSize(std::int64_t newSize) override;

  void Clear();
  std::uint8_t* Memory() { return data_.data(); }
  const std::uint8_t* Memory() const { return data_.data(); }
  // Replaces the content with the whole of stream (from its beginning).
  void LoadFromStream(TStream& stream);
  // Writes the whole content to stream at its position.
  void SaveToStream(TStream& stream);
  void LoadFromFile(const std::string& fileName);
  void SaveToFile(const std::string& fileName);
  // Convenience for tests and parsers: the bytes as a vector.
  const std::vector<std::uint8_t>& Bytes() const { return data_; }

private:
  std::vector<std::uint8_t> data_;
  std::int64_t pos_ = 0;
};

// Open modes, combined as mode | share: fmCreate replaces (or creates) a file.
enum : std::uint16_t {
  fmOpenRead = 0x0000,
  fmOpenWrite = 0x0001,
  fmOpenReadWrite = 0x0002,
  fmShareExclusive = 0x0010,
  fmShareDenyWrite = 0x0020,
  fmShareDenyNone = 0x0040,
  fmCreate = 0xFF00,
};

// A file as a stream, buffered. Sharing is enforced with advisory locks among sigflow's own
// streams: a writer holds the file exclusively unless it says fmShareDenyNone, and a reader
// with fmShareDenyWrite (or fmShareExclusive) keeps writers out. Opening fails with
// EFOpenError "Cannot open file \"NAME\". REASON" (EFCreateError "Cannot create file ..." for
// fmCreate).
class TFileStream : public TStream {
public:
  TFileStream(const std::string& fileName, std::uint16_t mode);
  ~TFileStream() override;
  TFileStream(const TFileStream&) = delete;
  TFileStream& operator=(const TFileStream&) = delete;

  std::string ClassName() const override { return "TFileStream"; }
  const std::string& FileName() const { return fileName_; }

  std::int64_t Read(void* buffer, std::int64_t count) override;
  std::int64_t Write(const void* buffer, std::int64_t count) override;
  std::int64_t Seek(std::int64_t offset, TSeekOrigin origin) override;
  std::int64_t Size() override;
  void SetSize(std::int64_t newSize) override;
  // Writes pending bytes to the file; throws EWriteError if the system refuses them.
  void Flush();

private:
  bool FlushPending() noexcept;

  std::string fileName_;
  int fd_ = -1;
  std::int64_t pos_ = 0;
  std::vector<std::uint8_t> buf_;
  std::int64_t bufStart_ = 0;   // file offset of buf_[0]
  std::int64_t readLen_ = 0;    // valid bytes read ahead into buf_
  std::int64_t writeLen_ = 0;   // bytes written into buf_ and not yet in the file
};

}  // namespace sigflow
