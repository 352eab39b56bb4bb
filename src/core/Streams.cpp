#include "sigflow/core/Streams.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace sigflow {

namespace {
constexpr std::int64_t kFileBufferSize = 64 * 1024;
constexpr std::int64_t kCopyChunk = 64 * 1024;
}  // namespace

// ---------------------------------------------------------------------------- TStream

std::int64_t TStream::Size() {
  const std::int64_t pos = Seek(0, soCurrent);
  const std::int64_t size = Seek(0, soEnd);
  Seek(pos, soBeginning);
  return size;
}

void TStream::ReadBuffer(void* buffer, std::int64_t count) {
  if (count > 0 && Read(buffer, count) != count) throw EReadError("Stream read error");
}

void TStream::WriteBuffer(const void* buffer, std::int64_t count) {
  if (count > 0 && Write(buffer, count) != count) throw EWriteError("Stream write error");
}

std::int64_t TStream::CopyFrom(TStream& source, std::int64_t count) {
  if (count == 0) {
    source.SetPosition(0);
    count = source.Size();
  }
  std::vector<std::uint8_t> chunk(static_cast<std::size_t>(std::min(count, kCopyChunk)));
  std::int64_t left = count;
  while (left > 0) {
    const std::int64_t n = std::min<std::int64_t>(left, static_cast<std::int64_t>(chunk.size()));
    source.ReadBuffer(chunk.data(), n);
    WriteBuffer(chunk.data(), n);
    left -= n;
  }
  return count;
}

void TStream::WriteShortString(const std::string& s) {
  if (s.size() > 255) throw EWriteError("String too long for a short string: " + std::to_string(s.size()));
  WriteValue<std::uint8_t>(static_cast<std::uint8_t>(s.size()));
  WriteBuffer(s.data(), static_cast<std::int64_t>(s.size()));
}

std::string TStream::ReadShortString() {
  const auto n = ReadValue<std::uint8_t>();
  std::string s(n, '\0');
  ReadBuffer(s.data(), n);
  return s;
}

// ---------------------------------------------------------------------------- TMemoryStream

std::int64_t TMemoryStream::Read(void* buffer, std::int64_t count) {
  const std::int64_t size = Size();
  if (count <= 0 || pos_ >= size) return 0;
  const std::int64_t n = std::min(count, size - pos_);
  std::memcpy(buffer, data_.data() + pos_, static_cast<std::size_t>(n));
  pos_ += n;
  return n;
}

std::int64_t TMemoryStream::Write(const void* buffer, std::int64_t count) {
  if (count <= 0) return 0;
  const std::int64_t end = pos_ + count;
  if (end > Size()) SetSize(end);
  std::memcpy(data_.data() + pos_, buffer, static_cast<std::size_t>(count));
  pos_ = end;
  return count;
}

std::int64_t TMemoryStream::Seek(std::int64_t offset, TSeekOrigin origin) {
  std::int64_t base = origin == soBeginning ? 0 : origin == soCurrent ? pos_ : Size();
  pos_ = std::max<std::int64_t>(0, base + offset);
  return pos_;
}

void TMemoryStream::SetSize(std::int64_t newSize) {
  if (newSize < 0) throw EWriteError("Negative stream size: " + std::to_string(newSize));
  try {
    data_.resize(static_cast<std::size_t>(newSize));
  } catch (const std::bad_alloc&) {
    throw EOutOfResources("Out of memory while growing a stream to " + std::to_string(newSize) + " bytes");
  }
  if (pos_ > newSize) pos_ = newSize;
}

void TMemoryStream::Clear() {
  data_.clear();
  pos_ = 0;
}

void TMemoryStream::LoadFromStream(TStream& stream) {
  stream.SetPosition(0);
  const std::int64_t n = stream.Size();
  SetSize(n);
  pos_ = 0;
  stream.ReadBuffer(data_.data(), n);
}

void TMemoryStream::SaveToStream(TStream& stream) {
  stream.WriteBuffer(data_.data(), Size());
}

void TMemoryStream::LoadFromFile(const std::string& fileName) {
  TFileStream f(fileName, fmOpenRead | fmShareDenyWrite);
  LoadFromStream(f);
}

void TMemoryStream::SaveToFile(const std::string& fileName) {
  TFileStream f(fileName, fmCreate);
  SaveToStream(f);
  f.Flush();
}

// ---------------------------------------------------------------------------- TFileStream

namespace {
std::string SystemReason(int err) { return std::string(std::strerror(err)); }
}  // namespace

TFileStream::TFileStream(const std::string& fileName, std::uint16_t mode) : fileName_(fileName) {
  const bool create = (mode & 0xFF00) == fmCreate;
  const int access = mode & 0x0003;
  const int share = mode & 0x00F0;
  int flags = O_CLOEXEC;
  if (create) {
    flags |= O_RDWR | O_CREAT;
  } else {
    flags |= access == fmOpenWrite ? O_WRONLY : access == fmOpenReadWrite ? O_RDWR : O_RDONLY;
  }
  fd_ = ::open(fileName.c_str(), flags, 0644);
  if (fd_ < 0) {
    const int err = errno;
    if (create) throw EFCreateError("Cannot create file \"" + fileName + "\". " + SystemReason(err));
    throw EFOpenError("Cannot open file \"" + fileName + "\". " + SystemReason(err));
  }
  // Writers take the file exclusively unless they share it; readers that deny writing share
  // it with other readers.
  const bool writes = create || access != fmOpenRead;
  int lock = 0;
  if (share == fmShareExclusive || (writes && share != fmShareDenyNone)) {
    lock = LOCK_EX;
  } else if (share == fmShareDenyWrite) {
    lock = LOCK_SH;
  }
  if (lock && ::flock(fd_, lock | LOCK_NB) != 0) {
    const int err = errno;
    ::close(fd_);
    fd_ = -1;
    const std::string reason = err == EWOULDBLOCK ? "The file is in use by another stream." : SystemReason(err);
    if (create) throw EFCreateError("Cannot create file \"" + fileName + "\". " + reason);
    throw EFOpenError("Cannot open file \"" + fileName + "\". " + reason);
  }
  // Truncate only once the lock is ours, so a denied create leaves the file alone.
  if (create && ::ftruncate(fd_, 0) != 0) {
    const int err = errno;
    ::close(fd_);
    fd_ = -1;
    throw EFCreateError("Cannot create file \"" + fileName + "\". " + SystemReason(err));
  }
  buf_.resize(kFileBufferSize);
}

TFileStream::~TFileStream() {
  if (fd_ >= 0) {
    FlushPending();
    ::close(fd_);
  }
}

bool TFileStream::FlushPending() noexcept {
  std::int64_t done = 0;
  while (done < writeLen_) {
    const ssize_t n = ::pwrite(fd_, buf_.data() + done, static_cast<std::size_t>(writeLen_ - done), bufStart_ + done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      writeLen_ = 0;
      return false;
    }
    done += n;
  }
  writeLen_ = 0;
  return true;
}

void TFileStream::Flush() {
  if (!FlushPending()) throw EWriteError("Stream write error: " + fileName_ + ": " + SystemReason(errno));
}

std::int64_t TFileStream::Read(void* buffer, std::int64_t count) {
  if (count <= 0) return 0;
  if (writeLen_ > 0 && !FlushPending()) return 0;
  auto* out = static_cast<std::uint8_t*>(buffer);
  std::int64_t done = 0;
  while (done < count) {
    // Served from the read-ahead buffer where possible.
    if (pos_ >= bufStart_ && pos_ < bufStart_ + readLen_) {
      const std::int64_t n = std::min(count - done, bufStart_ + readLen_ - pos_);
      std::memcpy(out + done, buf_.data() + (pos_ - bufStart_), static_cast<std::size_t>(n));
      done += n;
      pos_ += n;
      continue;
    }
    const std::int64_t want = count - done;
    if (want >= kFileBufferSize) {
      const ssize_t n = ::pread(fd_, out + done, static_cast<std::size_t>(std::min<std::int64_t>(want, 1 << 30)), pos_);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      done += n;
      pos_ += n;
      continue;
    }
    const ssize_t n = ::pread(fd_, buf_.data(), buf_.size(), pos_);
    if (n < 0 && errno == EINTR) continue;
    bufStart_ = pos_;
    readLen_ = n > 0 ? n : 0;
    if (n <= 0) break;
  }
  return done;
}

std::int64_t TFileStream::Write(const void* buffer, std::int64_t count) {
  if (count <= 0) return 0;
  readLen_ = 0;
  const auto* in = static_cast<const std::uint8_t*>(buffer);
  const bool contiguous = writeLen_ > 0 && bufStart_ + writeLen_ == pos_;
  if (writeLen_ > 0 && (!contiguous || writeLen_ + count > kFileBufferSize)) {
    if (!FlushPending()) return 0;
  }
  if (count >= kFileBufferSize) {
    std::int64_t done = 0;
    while (done < count) {
      const ssize_t n = ::pwrite(fd_, in + done, static_cast<std::size_t>(std::min<std::int64_t>(count - done, 1 << 30)), pos_);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      done += n;
      pos_ += n;
    }
    return done;
  }
  if (writeLen_ == 0) bufStart_ = pos_;
  std::memcpy(buf_.data() + writeLen_, in, static_cast<std::size_t>(count));
  writeLen_ += count;
  pos_ += count;
  return count;
}

std::int64_t TFileStream::Seek(std::int64_t offset, TSeekOrigin origin) {
  std::int64_t base = origin == soBeginning ? 0 : origin == soCurrent ? pos_ : Size();
  pos_ = std::max<std::int64_t>(0, base + offset);
  return pos_;
}

std::int64_t TFileStream::Size() {
  struct stat st {};
  if (::fstat(fd_, &st) != 0) return 0;
  // Pending bytes may lie beyond the file's present end.
  return std::max<std::int64_t>(st.st_size, writeLen_ > 0 ? bufStart_ + writeLen_ : 0);
}

void TFileStream::SetSize(std::int64_t newSize) {
  Flush();
  readLen_ = 0;
  if (newSize < 0 || ::ftruncate(fd_, newSize) != 0)
    throw EWriteError("Cannot set the size of \"" + fileName_ + "\" to " + std::to_string(newSize));
  if (pos_ > newSize) pos_ = newSize;
}

}  // namespace sigflow
