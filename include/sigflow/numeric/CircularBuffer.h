#pragma once
// Circular buffer of samples: a small state record beside a TVec that holds the storage, so
// the owner decides the data kind (real or complex) and the storage is reused.
//
// Sizes and counts are in elements of the buffer vector (one complex element is one sample).
// The state keeps two views of what was written:
//   unread   Count elements not yet read (PeekCircularBuffer), oldest first; a read consumes
//            them, a write that does not fit is refused (Overrun);
//   history  the newest Filled (<= Size) elements ever written, which MonitorCircularBuffer
//            shows without removing them.
// No operation allocates except Init and a Resize to another size.
#include "sigflow/numeric/Vec.h"

namespace sigflow {

struct TCircularBufferState {
  int Size = 0;     // capacity in elements
  int Head = 0;     // index of the next element to write
  int Count = 0;    // unread elements, the newest Count before Head
  int Filled = 0;   // elements of history held, at most Size
  bool Overrun = false;   // a write found less room than it needed (sticky until Init)
  bool Underrun = false;  // a read found fewer elements than it needed (sticky until Init)
};

// Empties the state, clears both flags and gives Buffer Size zeroed elements (of the kind it
// has). Size < 0 counts as 0.
void InitCircularBuffer(TCircularBufferState& State, TVec& Buffer, int Size);

// Unread elements.
int PeekCircularBuffer(const TCircularBufferState& State);

// Appends Src (of Buffer's kind) after the unread elements. When Src is longer than the free
// room (Size - Count) nothing is written, Overrun is set and the result is false.
bool WriteToCircularBuffer(TCircularBufferState& State, TVec& Buffer, const TVec& Src);

// Copies the oldest Length elements of the unread ones into Dst (sized Length, Buffer's
// kind) and consumes all but the last Overlap of them, so the next read starts Length -
// Overlap elements further. Overlap is limited to 0 .. Length - 1: every read moves on.
// With fewer than Length unread elements nothing happens, Underrun is set, result false.
bool ReadFromCircularBuffer(TCircularBufferState& State, const TVec& Buffer, TVec& Dst, int Length, int Overlap);

// Dst (length as given, Buffer's kind) := the newest Dst.Length() elements of the history,
// oldest first; where the history is shorter the front is zero. The data stay in the buffer,
// so the next view shows them again behind newer ones; the unread count is cleared, since
// the view has shown everything written so far, and a monitored stream never stalls.
void MonitorCircularBuffer(TCircularBufferState& State, const TVec& Buffer, TVec& Dst);

// Gives the buffer NewSize elements (< 0 counts as 0) and Buffer's present kind, keeping the
// newest history and unread elements that fit; unread elements that do not fit are lost and
// set Overrun. Nothing happens when the size is unchanged.
void ResizeCircularBuffer(TCircularBufferState& State, TVec& Buffer, int NewSize);

}  // namespace sigflow
