#pragma once
// Conversions between PCM integers and doubles. Values are the raw integers, no scaling:
// an unsigned 8-bit 255 is 255.0 (subtract 128 for a signed reading), a 16-bit -32768 is
// -32768.0. Back to integers each value is rounded by the TRounding mode and clipped to the
// type's range; NaN becomes 0. Buffers of equal length; the count converted is the smaller
// of the two sizes.
#include <cstddef>
#include <cstdint>
#include <span>

#include "sigflow/numeric/Precision.h"

namespace sigflow {

class TVec;

void PcmToDouble(std::span<const std::uint8_t> src, std::span<double> dst) noexcept;
void PcmToDouble(std::span<const std::int16_t> src, std::span<double> dst) noexcept;
void PcmToDouble(std::span<const std::int32_t> src, std::span<double> dst) noexcept;

void DoubleToPcm(std::span<const double> src, std::span<std::uint8_t> dst, TRounding rounding) noexcept;
void DoubleToPcm(std::span<const double> src, std::span<std::int16_t> dst, TRounding rounding) noexcept;
void DoubleToPcm(std::span<const double> src, std::span<std::int32_t> dst, TRounding rounding) noexcept;

// A little-endian PCM byte buffer of 8 (unsigned), 16 or 32 (signed) bits per sample into
// dst, real, of byteCount / (bits / 8) samples (dst is resized). Other bit counts raise
// Exception "PCM: bits per sample must be 8, 16 or 32".
void PcmBytesToVec(const void* bytes, std::size_t byteCount, int bits, TVec& dst);
// The values of src (real, or the interleaved doubles of a complex vector) into a
// little-endian PCM byte buffer holding at least byteCount bytes; converts
// min(values, byteCount / (bits / 8)) samples and returns that count.
std::size_t VecToPcmBytes(const TVec& src, void* bytes, std::size_t byteCount, int bits, TRounding rounding);

}  // namespace sigflow
