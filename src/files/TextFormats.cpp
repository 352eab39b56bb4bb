// Text formats: ".sgl" (records of frame lines), ".sfs" (one value per line) and ".asc"
// (time, then one value per channel). Numbers are read and written in the C locale whatever
// the process locale is (std::from_chars / std::to_chars), in the shortest form that reads
// back to the same double.
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

#include "FileInternals.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::files_detail {
namespace {

constexpr std::size_t kTextBuffer = 64 * 1024;
// A longer line is not one of ours; refusing it bounds the memory a bad file can claim.
constexpr std::size_t kMaxLine = 1 << 20;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string_view Trim(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

// Next whitespace-separated token of s (s advances past it); empty at the end.
std::string_view NextToken(std::string_view& s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  std::size_t n = 0;
  while (n < s.size() && !IsBlank(s[n])) ++n;
  const std::string_view t = s.substr(0, n);
  s.remove_prefix(n);
  return t;
}

bool ParseNumber(std::string_view t, double& x) {
  if (!t.empty() && t.front() == '+') t.remove_prefix(1);
  if (t.empty()) return false;
  const auto r = std::from_chars(t.data(), t.data() + t.size(), x);
  return r.ec == std::errc() && r.ptr == t.data() + t.size();
}

std::string Shown(std::string_view line) {
  constexpr std::size_t kShow = 40;
  return "\"" + std::string(line.substr(0, kShow)) + (line.size() > kShow ? "...\"" : "\"");
}

// Lines of a stream, read through a reusable buffer.
class TLineSource {
public:
  TLineSource() : buf_(kTextBuffer) {}

  void Reset(TStream& s, std::int64_t offset, std::int64_t line) {
    stream_ = &s;
    if (s.Seek(offset, soBeginning) != offset) throw EReadError(SSeekError);
    start_ = end_ = 0;
    base_ = offset;
    eof_ = false;
    line_ = line - 1;
  }

  // false at the end. line excludes the '\n' (a trailing '\r' stays; Trim removes it).
  // Sets tooLong instead when a line exceeds kMaxLine.
  bool Next(std::string_view& line, bool& tooLong) {
    tooLong = false;
    for (;;) {
      const char* b = buf_.data() + start_;
      if (const void* nl = std::memchr(b, '\n', end_ - start_)) {
        const std::size_t n = std::size_t(static_cast<const char*>(nl) - b);
        line = std::string_view(b, n);
        Consume(n + 1);
        return true;
      }
      if (eof_) {
        if (start_ == end_) return false;
        line = std::string_view(b, end_ - start_);
        Consume(end_ - start_);
        return true;
      }
      if (start_ > 0) {
        std::memmove(buf_.data(), buf_.data() + start_, end_ - start_);
        base_ += std::int64_t(start_);
        end_ -= start_;
        start_ = 0;
      }
      if (end_ == buf_.size()) {
        if (buf_.size() >= kMaxLine) {
          tooLong = true;
          ++line_;
          return false;
        }
        buf_.resize(buf_.size() * 2);
      }
      const std::int64_t got = stream_->Read(buf_.data() + end_, std::int64_t(buf_.size() - end_));
      if (got <= 0) eof_ = true;
      else end_ += std::size_t(got);
    }
  }

  // Number of the line last returned; offset of the line that follows it.
  std::int64_t Line() const { return line_; }
  std::int64_t Offset() const { return base_ + std::int64_t(start_); }
  // Offset of the line last returned.
  std::int64_t LastStart() const { return lastStart_; }

private:
  void Consume(std::size_t n) {
    lastStart_ = base_ + std::int64_t(start_);
    start_ += n;
    ++line_;
  }

  TStream* stream_ = nullptr;
  std::vector<char> buf_;
  std::size_t start_ = 0, end_ = 0;
  std::int64_t base_ = 0;
  std::int64_t line_ = 0;
  std::int64_t lastStart_ = 0;
  bool eof_ = false;
};

class TTextReader final : public TSignalFileReader {
public:
  explicit TTextReader(TFileFormat format) : TSignalFileReader(format) {}

protected:
  void Scan() override {
    lines_.Reset(Stream(), 0, 1);
    cursorValid_ = false;
    const bool multi = Format() == ffSgl;
    TSignalRecordInfo r;
    r.Offset = 0;
    r.Line = 1;
    bool open = !multi;  // single-record formats always have their record
    std::int64_t dataLines = 0;
    double t0 = 0, t1 = 0;
    bool haveRate = false;
    std::string_view line;
    bool tooLong = false;
    while (lines_.Next(line, tooLong)) {
      const std::string_view text = Trim(line);
      if (text.empty() || text.front() == '#') {
        std::string key;
        double value = 0;
        if (!text.empty() && HeaderField(text, key, value)) {
          if (multi && key == "Record") {
            if (open) Finish(r, dataLines, t0, t1, haveRate);
            r = TSignalRecordInfo{};
            dataLines = 0;
            haveRate = false;
            open = true;
          } else if (key == "SamplingFrequency" || key == "ChannelCount" || key == "Complex") {
            if (!open) open = true;  // header before the first "Record" line
            if (dataLines > 0) FailAtLine("header line " + Shown(text) + " after the data of its record", lines_.Line());
            SetField(r, key, value, haveRate);
          }
        }
        if (dataLines == 0) {
          r.Offset = lines_.Offset();
          r.Line = lines_.Line() + 1;
        }
        continue;
      }
      open = true;
      if (dataLines == 0) {
        r.Offset = lines_.LastStart();
        r.Line = lines_.Line();
      }
      double values[2];
      ParseLine(text, r, values, 2);
      if (Format() == ffAsc && dataLines < 2) (dataLines == 0 ? t0 : t1) = values[0];
      ++dataLines;
    }
    if (tooLong) FailAtLine("line longer than " + std::to_string(kMaxLine) + " bytes", lines_.Line());
    if (open) Finish(r, dataLines, t0, t1, haveRate);
  }

  void ReadFrames(int record, std::int64_t first, std::int64_t count, double* dst) override {
    const TSignalRecordInfo& r = records_[std::size_t(record)];
    const int linesPerFrame = Format() == ffSfs ? r.ChannelCount : 1;
    if (!(cursorValid_ && cursorRecord_ == record && cursorFrame_ <= first)) {
      lines_.Reset(Stream(), r.Offset, r.Line);
      cursorRecord_ = record;
      cursorFrame_ = 0;
    }
    // A failure below leaves the line source somewhere unknown: start over next time.
    cursorValid_ = false;
    const int perLine = Format() == ffSfs ? 1 : r.ChannelCount * (r.Complex ? 2 : 1);
    std::vector<double>& scratch = scratch_;
    scratch.resize(std::size_t(perLine) + 1);
    std::int64_t line = (first - cursorFrame_) * linesPerFrame;
    std::int64_t wanted = count * linesPerFrame;
    std::string_view text;
    while (line > 0 || wanted > 0) {
      if (!NextDataLine(text)) {
        FailAtLine("the file ends inside record " + std::to_string(record), lines_.Line() + 1);
      }
      if (line > 0) {
        --line;
        continue;
      }
      ParseLine(text, r, scratch.data(), scratch.size());
      const double* v = scratch.data() + (Format() == ffAsc ? 1 : 0);
      for (int k = 0; k < perLine; ++k) *dst++ = v[k];
      --wanted;
    }
    cursorFrame_ = first + count;
    cursorValid_ = true;
  }

private:
  // The data line that follows, skipping blank and '#' lines.
  bool NextDataLine(std::string_view& text) {
    std::string_view line;
    bool tooLong = false;
    while (lines_.Next(line, tooLong)) {
      text = Trim(line);
      if (!text.empty() && text.front() != '#') return true;
    }
    if (tooLong) FailAtLine("line longer than " + std::to_string(kMaxLine) + " bytes", lines_.Line());
    return false;
  }

  // "# Key = value" with a number; false for anything else (comments).
  static bool HeaderField(std::string_view text, std::string& key, double& value) {
    text.remove_prefix(1);
    const auto eq = text.find('=');
    key = std::string(Trim(text.substr(0, eq)));
    if (key == "Record") return true;
    if (eq == std::string_view::npos) return false;
    return ParseNumber(Trim(text.substr(eq + 1)), value);
  }

  void SetField(TSignalRecordInfo& r, const std::string& key, double value, bool& haveRate) const {
    if (key == "SamplingFrequency") {
      r.SamplingFrequency = value;
      haveRate = true;
    } else if (key == "ChannelCount") {
      if (!(value >= 1 && value <= 65536) || value != std::floor(value))
        FailAtLine("channel count " + std::to_string(value) + " is not an integer in 1 .. 65536", lines_.Line());
      r.ChannelCount = int(value);
    } else {
      if (Format() != ffSgl && value != 0) FailAtLine("complex data are not allowed in this format", lines_.Line());
      r.Complex = value != 0;
    }
  }

  // Parses the numbers of a data line into values (at most capacity kept); raises unless the
  // line holds exactly the count the format expects.
  void ParseLine(std::string_view text, const TSignalRecordInfo& r, double* values, std::size_t capacity) const {
    const std::size_t expected = Format() == ffSfs   ? 1
                                 : Format() == ffAsc ? std::size_t(r.ChannelCount) + 1
                                                     : std::size_t(r.ChannelCount) * (r.Complex ? 2 : 1);
    std::string_view rest = text;
    std::size_t n = 0;
    for (std::string_view t = NextToken(rest); !t.empty(); t = NextToken(rest), ++n) {
      double x;
      if (!ParseNumber(t, x)) FailAtLine("not a number: " + Shown(t) + " in " + Shown(text), lines_.Line());
      if (n < capacity) values[n] = x;
    }
    if (n != expected)
      FailAtLine(std::to_string(n) + " numbers where " + std::to_string(expected) + " are expected: " + Shown(text),
                 lines_.Line());
  }

  void Finish(TSignalRecordInfo& r, std::int64_t dataLines, double t0, double t1, bool haveRate) {
    if (Format() == ffSfs) {
      if (dataLines % r.ChannelCount != 0)
        FailAtLine(std::to_string(dataLines) + " values are not whole frames of " + std::to_string(r.ChannelCount) +
                       " channels",
                   lines_.Line());
      r.Frames = dataLines / r.ChannelCount;
    } else {
      r.Frames = dataLines;
    }
    // A foreign two-column file says its rate through its time column.
    if (Format() == ffAsc && !haveRate && dataLines >= 2 && t1 > t0) r.SamplingFrequency = 1.0 / (t1 - t0);
    r.Precision = prDouble;
    records_.push_back(r);
  }

  TLineSource lines_;
  std::vector<double> scratch_;
  bool cursorValid_ = false;
  int cursorRecord_ = 0;
  std::int64_t cursorFrame_ = 0;
};

class TTextWriter final : public TSignalFileWriter {
public:
  TTextWriter(std::unique_ptr<TStream> stream, const std::string& name, TFileFormat format, TPrecision precision,
              TRounding rounding)
      : TSignalFileWriter(std::move(stream), name, format, precision, rounding) {}
  ~TTextWriter() override { CloseNoThrow(); }

protected:
  void DoWriteBlock(const TVec& data, double samplingFrequency, int channelCount) override {
    const bool multi = Format() == ffSgl;
    if (!multi && data.Complex())
      Fail(std::string(FileFormatDescription(Format())) + " holds real data only");
    text_.clear();
    if (multi || BlockCount() == 0) {
      if (multi) text_ += "# Record = " + std::to_string(BlockCount() + 1) + "\n";
      text_ += "# SamplingFrequency = ";
      Put(samplingFrequency);
      text_ += "\n# ChannelCount = " + std::to_string(channelCount) + "\n";
      if (multi) text_ += data.Complex() ? "# Complex = 1\n" : "# Complex = 0\n";
      rate_ = samplingFrequency;
      channels_ = channelCount;
    } else if (channelCount != channels_ || !(samplingFrequency == rate_)) {
      Fail(std::string(FileFormatDescription(Format())) +
           " keeps the channel count and sampling frequency of its first block");
    }
    const std::span<const double> v = data.Span();
    const std::size_t perFrame = std::size_t(channelCount) * (data.Complex() ? 2 : 1);
    const std::size_t frames = v.size() / perFrame;
    const std::int64_t frame0 = FrameCount();
    // Integer precisions have no negative zero; adding +0.0 turns -0.0 into 0.
    const double zero = Precision() == prDouble || Precision() == prSingle ? -0.0 : 0.0;
    for (std::size_t f = 0; f < frames; ++f) {
      if (Format() == ffAsc) {
        Put(double(frame0 + std::int64_t(f)) / samplingFrequency);
        text_ += ' ';
      }
      for (std::size_t k = 0; k < perFrame; ++k) {
        Put(QuantizeValue(v[f * perFrame + k], Precision(), Rounding()) + zero);
        text_ += (k + 1 == perFrame || Format() == ffSfs) ? '\n' : ' ';
      }
    }
    Stream().WriteBuffer(text_.data(), std::int64_t(text_.size()));
    FlushStream();
  }

private:
  void Put(double x) {
    char b[32];
    const auto r = std::to_chars(b, b + sizeof(b), x);
    text_.append(b, r.ptr);
  }

  std::string text_;
  double rate_ = 0;
  int channels_ = 0;
};

}  // namespace

std::unique_ptr<TSignalFileReader> CreateTextReader(TFileFormat format) { return std::make_unique<TTextReader>(format); }

std::unique_ptr<TSignalFileWriter> CreateTextWriter(std::unique_ptr<TStream> stream, const std::string& name,
                                                    TFileFormat format, TPrecision precision, TRounding rounding) {
  return std::make_unique<TTextWriter>(std::move(stream), name, format, precision, rounding);
}

}  // namespace sigflow::files_detail
