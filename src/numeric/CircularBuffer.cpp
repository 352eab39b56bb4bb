#include "sigflow/numeric/CircularBuffer.h"

#include <algorithm>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

namespace {

int Width(const TVec& v) { return v.Complex() ? 2 : 1; }

void RequireKind(const TVec& Buffer, const TVec& Other) {
  if (Buffer.Complex() != Other.Complex()) throw Exception("Circular buffer: data kind differs from the buffer");
}

// Copies n elements starting at ring index from (wrapping) into dst.
void CopyOut(const TVec& Buffer, int size, int from, int n, double* dst) {
  const int w = Width(Buffer);
  const double* src = Buffer.Data();
  const int first = std::min(n, size - from);
  std::copy_n(src + std::size_t(from) * w, std::size_t(first) * w, dst);
  std::copy_n(src, std::size_t(n - first) * w, dst + std::size_t(first) * w);
}

// Ring index of the element `back` places before Head.
int Before(const TCircularBufferState& s, int back) {
  const int i = s.Head - back;
  return i < 0 ? i + s.Size : i;
}

}  // namespace

void InitCircularBuffer(TCircularBufferState& State, TVec& Buffer, int Size) {
  State = TCircularBufferState{};
  State.Size = std::max(Size, 0);
  Buffer.SetLength(State.Size);
  Buffer.SetZero();
}

int PeekCircularBuffer(const TCircularBufferState& State) { return State.Count; }

bool WriteToCircularBuffer(TCircularBufferState& State, TVec& Buffer, const TVec& Src) {
  RequireKind(Buffer, Src);
  const int n = Src.Length();
  if (n > State.Size - State.Count) {
    State.Overrun = true;
    return false;
  }
  if (n == 0) return true;
  const int w = Width(Buffer);
  const int first = std::min(n, State.Size - State.Head);
  std::copy_n(Src.Data(), std::size_t(first) * w, Buffer.Data() + std::size_t(State.Head) * w);
  std::copy_n(Src.Data() + std::size_t(first) * w, std::size_t(n - first) * w, Buffer.Data());
  State.Head = (State.Head + n) % State.Size;
  State.Count += n;
  State.Filled = std::min(State.Filled + n, State.Size);
  return true;
}

bool ReadFromCircularBuffer(TCircularBufferState& State, const TVec& Buffer, TVec& Dst, int Length, int Overlap) {
  Length = std::max(Length, 0);
  if (Length > State.Count) {
    State.Underrun = true;
    return false;
  }
  Dst.Size(Length, Buffer.Complex());
  if (Length == 0) return true;
  CopyOut(Buffer, State.Size, Before(State, State.Count), Length, Dst.Data());
  State.Count -= Length - std::clamp(Overlap, 0, Length - 1);
  return true;
}

void MonitorCircularBuffer(TCircularBufferState& State, const TVec& Buffer, TVec& Dst) {
  const int n = Dst.Length();
  Dst.SetComplex(Buffer.Complex());
  const int shown = std::min(n, State.Filled);
  const int w = Width(Buffer);
  std::fill_n(Dst.Data(), std::size_t(n - shown) * w, 0.0);
  if (shown > 0) CopyOut(Buffer, State.Size, Before(State, shown), shown, Dst.Data() + std::size_t(n - shown) * w);
  State.Count = 0;
}

void ResizeCircularBuffer(TCircularBufferState& State, TVec& Buffer, int NewSize) {
  NewSize = std::max(NewSize, 0);
  if (NewSize == State.Size && Buffer.Length() == NewSize) return;
  // Unroll the newest history into a straight copy, then lay it out from index 0.
  const int keep = std::min(State.Filled, NewSize);
  TVec old(0, Buffer.Complex());
  old.Size(keep, Buffer.Complex());
  if (keep > 0) CopyOut(Buffer, State.Size, Before(State, keep), keep, old.Data());
  if (State.Count > NewSize) State.Overrun = true;
  State.Count = std::min(State.Count, NewSize);
  State.Filled = keep;
  State.Size = NewSize;
  State.Head = NewSize == 0 ? 0 : keep % NewSize;
  Buffer.SetLength(NewSize);
  Buffer.SetZero();
  std::copy_n(old.Data(), std::size_t(keep) * Width(Buffer), Buffer.Data());
}

}  // namespace sigflow
