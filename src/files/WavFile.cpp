// RIFF wave files of integer PCM through libsndfile, reached through sigflow streams by
// libsndfile's virtual I/O. Values are the raw integers: 8-bit samples are unsigned 0..255,
// 16- and 32-bit ones signed.
#include <sndfile.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "FileInternals.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::files_detail {
namespace {

// ---- virtual I/O over a TStream: no exception may cross libsndfile's C frames ----------
TStream& StreamOf(void* user) { return *static_cast<TStream*>(user); }

sf_count_t VioLength(void* user) {
  try {
    return StreamOf(user).Size();
  } catch (...) {
    return -1;
  }
}

sf_count_t VioSeek(sf_count_t offset, int whence, void* user) {
  try {
    const TSeekOrigin origin = whence == SEEK_CUR ? soCurrent : whence == SEEK_END ? soEnd : soBeginning;
    return StreamOf(user).Seek(offset, origin);
  } catch (...) {
    return -1;
  }
}

sf_count_t VioRead(void* ptr, sf_count_t count, void* user) {
  try {
    return StreamOf(user).Read(ptr, count);
  } catch (...) {
    return 0;
  }
}

sf_count_t VioWrite(const void* ptr, sf_count_t count, void* user) {
  try {
    return StreamOf(user).Write(ptr, count);
  } catch (...) {
    return 0;
  }
}

sf_count_t VioTell(void* user) {
  try {
    return StreamOf(user).Position();
  } catch (...) {
    return -1;
  }
}

SF_VIRTUAL_IO kVio = {VioLength, VioSeek, VioRead, VioWrite, VioTell};

std::uint32_t Le32(const std::uint8_t* p) {
  return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[3]) << 24;
}
std::uint16_t Le16(const std::uint8_t* p) { return std::uint16_t(p[0] | p[1] << 8); }

// Doubles to little-endian PCM, clipped, rounded by r, NaN as 0 (the numeric layer's rules).
// Round-to-nearest, the common case, avoids a library call per value: clipping first keeps
// |x| far below 2^51, where adding and subtracting 1.5 * 2^52 rounds half to even.
template <class T>
T PcmValue(double x, TRounding r) {
  constexpr double lo = double(std::numeric_limits<T>::min());
  constexpr double hi = double(std::numeric_limits<T>::max());
  constexpr double kShift = 6755399436597248.0;  // 1.5 * 2^52
  double y = x < lo ? lo : x;
  y = y > hi ? hi : y;
  y = y == y ? y : 0.0;
  return T(r == rnRound ? (y + kShift) - kShift : RoundValue(y, r));
}

#if defined(__SSE2__)
// Four doubles to four int32: NaN -> 0, clipped to [lo, hi], rounded by the current mode
// (to nearest even unless the process changed it, the same rule as std::nearbyint).
inline __m128i RoundClip4(const double* src, __m128d lo, __m128d hi) {
  __m128d a = _mm_loadu_pd(src), b = _mm_loadu_pd(src + 2);
  a = _mm_and_pd(a, _mm_cmpord_pd(a, a));
  b = _mm_and_pd(b, _mm_cmpord_pd(b, b));
  a = _mm_min_pd(_mm_max_pd(a, lo), hi);
  b = _mm_min_pd(_mm_max_pd(b, lo), hi);
  return _mm_unpacklo_epi64(_mm_cvtpd_epi32(a), _mm_cvtpd_epi32(b));
}
#endif

template <class T>
void EncodePcm(const double* src, std::size_t n, TRounding r, std::uint8_t* out) {
  std::size_t i = 0;
#if defined(__SSE2__)
  if (r == rnRound) {
    const __m128d lo = _mm_set1_pd(double(std::numeric_limits<T>::min()));
    const __m128d hi = _mm_set1_pd(double(std::numeric_limits<T>::max()));
    for (; i + 8 <= n; i += 8) {
      const __m128i x = RoundClip4(src + i, lo, hi), y = RoundClip4(src + i + 4, lo, hi);
      if constexpr (sizeof(T) == 4) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * i), x);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * i + 16), y);
      } else if constexpr (sizeof(T) == 2) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), _mm_packs_epi32(x, y));
      } else {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(_mm_packs_epi32(x, y), _mm_setzero_si128()));
      }
    }
  }
#endif
  for (; i < n; ++i) {
    const auto v = std::make_unsigned_t<T>(PcmValue<T>(src[i], r));
    for (std::size_t k = 0; k < sizeof(T); ++k) out[i * sizeof(T) + k] = std::uint8_t(v >> (8 * k));
  }
}

class TWavReader final : public TSignalFileReader {
public:
  TWavReader() : TSignalFileReader(ffWav) {}
  ~TWavReader() override { CloseFormat(); }

protected:
  void Scan() override {
    const TWavLayout layout = ScanChunks();
    SeekTo(0);
    SF_INFO info{};
    sf_ = sf_open_virtual(&kVio, SFM_READ, &info, &Stream());
    if (!sf_) throw EReadError(SWavOpenError);
    const int major = info.format & SF_FORMAT_TYPEMASK;
    const int sub = info.format & SF_FORMAT_SUBMASK;
    if ((major != SF_FORMAT_WAV && major != SF_FORMAT_WAVEX) ||
        (sub != SF_FORMAT_PCM_U8 && sub != SF_FORMAT_PCM_16 && sub != SF_FORMAT_PCM_32) || info.channels < 1)
      throw EReadError(SWavNotPcm);
    sf_command(sf_, SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);
    TSignalRecordInfo r;
    r.Offset = layout.DataOffset;
    r.ChannelCount = info.channels;
    r.SamplingFrequency = info.samplerate;
    r.Precision = sub == SF_FORMAT_PCM_U8 ? prByte : sub == SF_FORMAT_PCM_16 ? prSmallInt : prInteger;
    const std::int64_t frameBytes = std::int64_t(PrecisionSize(r.Precision)) * info.channels;
    // libsndfile shortens a truncated data chunk silently: only whole frames present count.
    r.Frames = std::min<std::int64_t>(info.frames, std::min(layout.DataSize, layout.Available) / frameBytes);
    eightBit_ = r.Precision == prByte;
    records_.push_back(r);
  }

  void ReadFrames(int, std::int64_t first, std::int64_t count, double* dst) override {
    if (sf_seek(sf_, first, SEEK_SET) != first) throw EReadError(SSeekError);
    const sf_count_t got = sf_readf_double(sf_, dst, count);
    if (got != count) {
      const int err = sf_error(sf_);
      throw EReadError(std::string(SWavReadError) + Quoted(FileName()) + ": " +
                       (err ? sf_strerror(sf_) : "the data end at frame " + std::to_string(first + got)));
    }
    // libsndfile hands 8-bit samples over as signed; the stored value is unsigned.
    if (eightBit_) {
      const std::int64_t n = count * records_[0].ChannelCount;
      for (std::int64_t i = 0; i < n; ++i) dst[i] += 128.0;
    }
  }

  void CloseFormat() noexcept override {
    if (sf_) sf_close(sf_);
    sf_ = nullptr;
  }

private:
  struct TWavLayout {
    std::int64_t DataOffset = 0;
    std::int64_t DataSize = 0;
    std::int64_t Available = 0;
  };

  // Walks the RIFF chunks to check the format tag and to see whether the data chunk is all
  // there, which libsndfile does not report.
  TWavLayout ScanChunks() {
    TStream& s = Stream();
    const std::int64_t size = s.Size();
    std::uint8_t head[12];
    if (size < 12 || s.Read(head, 12) != 12 || std::memcmp(head, "RIFF", 4) != 0 || std::memcmp(head + 8, "WAVE", 4) != 0)
      throw EReadError(SWavOpenError);
    TWavLayout layout;
    bool fmt = false, data = false;
    std::int64_t pos = 12;
    while (pos + 8 <= size && !(fmt && data)) {
      SeekTo(pos);
      std::uint8_t chunk[8];
      if (s.Read(chunk, 8) != 8) break;
      const std::int64_t len = Le32(chunk + 4);
      if (std::memcmp(chunk, "fmt ", 4) == 0 && !fmt) {
        std::uint8_t f[40] = {};
        const std::int64_t want = std::min<std::int64_t>(len, sizeof(f));
        if (len < 16 || s.Read(f, want) != want) throw EReadError(SWavNotPcm);
        std::uint16_t tag = Le16(f);
        // WAVE_FORMAT_EXTENSIBLE carries the real tag at the head of its sub-format GUID.
        if (tag == 0xFFFE && want >= 26) tag = Le16(f + 24);
        const int bits = Le16(f + 14);
        if (tag != 1 || (bits != 8 && bits != 16 && bits != 32)) throw EReadError(SWavNotPcm);
        fmt = true;
      } else if (std::memcmp(chunk, "data", 4) == 0 && !data) {
        layout.DataOffset = pos + 8;
        layout.DataSize = len;
        layout.Available = size - layout.DataOffset;
        data = true;
      }
      pos += 8 + len + (len & 1);
    }
    if (!fmt || !data) throw EReadError(SWavChunkNotFound);
    if (layout.DataSize > layout.Available) {
      if (!options_.AcceptTruncatedTail)
        throw EReadError(std::string(SWavReadError) + Quoted(FileName()) + ": truncated file: the data chunk at byte " +
                         std::to_string(layout.DataOffset - 8) + " declares " + std::to_string(layout.DataSize) +
                         " bytes but " + std::to_string(layout.Available) + " remain");
      truncatedTail_ = true;
    }
    return layout;
  }

  SNDFILE* sf_ = nullptr;
  bool eightBit_ = false;
};

class TWavWriter final : public TSignalFileWriter {
public:
  TWavWriter(std::unique_ptr<TStream> stream, const std::string& name, TPrecision precision, TRounding rounding)
      : TSignalFileWriter(std::move(stream), name, ffWav, precision, rounding) {
    if (precision != prInteger && precision != prSmallInt && precision != prByte) throw Exception(SWavPrecisionError);
  }
  ~TWavWriter() override { CloseNoThrow(); }

protected:
  void DoWriteBlock(const TVec& data, double samplingFrequency, int channelCount) override {
    if (data.Complex()) Fail("Windows PCM (*.wav) holds real data only");
    if (!sf_) Start(samplingFrequency, channelCount);
    else if (channelCount != channels_ || std::nearbyint(samplingFrequency) != rate_)
      Fail("a WAV file keeps the channel count and sampling frequency of its first block");
    const int bits = PrecisionSize(Precision()) * 8;
    const std::size_t bytes = std::size_t(data.Length()) * std::size_t(bits / 8);
    if (buffer_.size() < bytes) buffer_.resize(bytes);
    const std::size_t n = std::size_t(data.Length());
    if (bits == 8) EncodePcm<std::uint8_t>(data.Data(), n, Rounding(), buffer_.data());
    else if (bits == 16) EncodePcm<std::int16_t>(data.Data(), n, Rounding(), buffer_.data());
    else EncodePcm<std::int32_t>(data.Data(), n, Rounding(), buffer_.data());
    if (sf_write_raw(sf_, buffer_.data(), sf_count_t(bytes)) != sf_count_t(bytes))
      Fail(std::string("writing WAV data failed: ") + sf_strerror(sf_));
    sf_command(sf_, SFC_UPDATE_HEADER_NOW, nullptr, 0);
    FlushStream();
  }

  void DoClose() override {
    if (!sf_) return;
    const int err = sf_close(sf_);
    sf_ = nullptr;
    if (err) Fail(std::string("closing the WAV file failed: ") + sf_error_number(err));
  }

private:
  void Start(double samplingFrequency, int channelCount) {
    const double rate = std::nearbyint(samplingFrequency);
    if (!(rate >= 1 && rate <= double(std::numeric_limits<int>::max())))
      Fail("a WAV sampling frequency must round to 1 .. 2147483647 Hz, not " + std::to_string(samplingFrequency));
    SF_INFO info{};
    info.samplerate = int(rate);
    info.channels = channelCount;
    info.format = SF_FORMAT_WAV |
                  (Precision() == prByte ? SF_FORMAT_PCM_U8 : Precision() == prSmallInt ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_32);
    sf_ = sf_open_virtual(&kVio, SFM_WRITE, &info, &Stream());
    if (!sf_) Fail(std::string("cannot start the WAV file: ") + sf_strerror(nullptr));
    channels_ = channelCount;
    rate_ = rate;
  }

  SNDFILE* sf_ = nullptr;
  int channels_ = 0;
  double rate_ = 0;
  std::vector<std::uint8_t> buffer_;
};

}  // namespace

std::unique_ptr<TSignalFileReader> CreateWavReader() { return std::make_unique<TWavReader>(); }

std::unique_ptr<TSignalFileWriter> CreateWavWriter(std::unique_ptr<TStream> stream, const std::string& name,
                                                   TPrecision precision, TRounding rounding) {
  return std::make_unique<TWavWriter>(std::move(stream), name, precision, rounding);
}

}  // namespace sigflow::files_detail
