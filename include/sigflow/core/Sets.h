#pragma once
// Small sets of enumeration values (at most 64 members), the shape of flag sets such as
// TComponentState: TSet<TComponentStateFlag>{csLoading, csDesigning}.
#include <cstdint>
#include <initializer_list>

namespace sigflow {

template <class E>
class TSet {
public:
  constexpr TSet() = default;
  constexpr TSet(std::initializer_list<E> values) {
    for (E v : values) bits_ |= Bit(v);
  }
  static constexpr TSet FromBits(std::uint64_t bits) {
    TSet s;
    s.bits_ = bits;
    return s;
  }

  constexpr bool Contains(E v) const { return (bits_ & Bit(v)) != 0; }
  constexpr void Include(E v) { bits_ |= Bit(v); }
  constexpr void Exclude(E v) { bits_ &= ~Bit(v); }
  constexpr bool Empty() const { return bits_ == 0; }
  constexpr std::uint64_t Bits() const { return bits_; }

  constexpr TSet operator+(TSet o) const { return FromBits(bits_ | o.bits_); }
  constexpr TSet operator-(TSet o) const { return FromBits(bits_ & ~o.bits_); }
  constexpr TSet operator*(TSet o) const { return FromBits(bits_ & o.bits_); }
  constexpr bool operator==(const TSet&) const = default;

private:
  static constexpr std::uint64_t Bit(E v) { return std::uint64_t{1} << static_cast<unsigned>(v); }
  std::uint64_t bits_ = 0;
};

}  // namespace sigflow
