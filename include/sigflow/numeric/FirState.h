#pragma once
// Streaming multirate FIR filter: real or complex taps on real or complex data, with
// up-sampling and down-sampling done polyphase and the delay line carried between blocks.
//
// Defining equations, for taps h[0..L), input x[k] (k = 0, 1, ... over the whole stream),
// UpSample U >= 1, UpDelay du in [0, U), DownSample D >= 1, DownDelay dd in [0, D):
//
//   v[m] = x[k]  when m = k*U + du,  else 0        (up-sampled stream, U slots per input)
//   w[m] = sum_j h[j] * v[m - j]                    (filtered, v[m < 0] = 0)
//   y[i] = w[i*D + dd]                              (down-sampled output)
//
// so y equals upfirdn(h, x, U, D) of the whole stream with w delayed by du and read dd
// samples later. After N inputs the stream holds N*U samples of w, and y[i] exists once
// i*D + dd < N*U: a block's output count follows from the state (FirOutputCount), and is
// independent of how the stream is cut into blocks. U or D equal to 0 gives no output.
// Each output costs about ceil(L/U) multiply-adds: no product with an inserted zero and no
// output computed only to be dropped.
#include <complex>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <vector>

namespace sigflow {

namespace detail {
struct FirKernelTable;

// Allocator of 64-byte aligned storage, so that a copied state keeps aligned tables.
template <class T>
struct AlignedAllocator {
  using value_type = T;
  AlignedAllocator() = default;
  template <class U>
  AlignedAllocator(const AlignedAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) {
    return static_cast<T*>(::operator new(n * sizeof(T), std::align_val_t{64}));
  }
  void deallocate(T* p, std::size_t) noexcept { ::operator delete(p, std::align_val_t{64}); }
  template <class U>
  bool operator==(const AlignedAllocator<U>&) const noexcept { return true; }
};
}  // namespace detail

// Copyable: a copy made between two blocks continues exactly as the original would.
struct FirState {
  bool Initialized = false;
  bool ComplexImpulse = false;  // taps are complex: the single-sample path refuses them
  bool ComplexData = false;     // the delay line holds complex samples
  int UpSample = 1;
  int UpDelay = 0;
  int DownSample = 1;
  int DownDelay = 0;
  std::size_t TapCount = 0;

  // Implementation detail below; the FirXxx functions keep it consistent.
  int mode = 0;                         // 0 no output, 1 U = D = 1, 2 U = 1 < D, 3 U > 1
  std::vector<double> coefRe, coefIm;   // per phase, reversed (duplicated for complex data
                                        // in mode 3)
  std::vector<std::size_t> phaseOff;    // offset of phase r in coef (doubles)
  std::vector<std::size_t> phaseLen;    // taps of phase r
  // Real data: per phase the taps as shifted vectors for the kernel level in use.
  std::vector<double, detail::AlignedAllocator<double>> tableRe, tableIm;
  std::vector<std::size_t> tableOff;    // offset of phase r in the tables (doubles)
  std::size_t history = 0;              // samples kept before the newest input (per line)
  std::size_t capacity = 0;             // samples a delay line holds
  std::vector<double> line;             // delay line(s), interleaved when complex; mode 2
                                        // keeps one line per input phase
  std::size_t fill = 0;                 // samples in the line (modes 1, 3)
  std::int64_t next = 0;                // modes 1, 3: up-sampled index of the next output,
                                        // line-relative; mode 2: index of the next output
  std::int64_t lineBase = 0;            // mode 2: output index at line position 0
  std::int64_t slotIndex = 0;           // mode 2: output index the next input belongs to
  int slotPhase = 0;                    // mode 2: input phase of the next input
  std::vector<double> single;           // outputs of one sample (single-sample path)
  // Mode 1 with long filters: FFT overlap-save over the same delay line. Runs of outputs
  // are cut into hops of one of several power-of-two FFT sizes (or done directly when that
  // is cheaper); every output of a block is still written in that block.
  bool overlapSave = false;
  std::vector<std::size_t> fftSize;     // ascending
  std::vector<std::size_t> spectrumOff; // offset of the taps' spectrum of each size (bins)
  std::vector<double> fftCost;          // estimated cost of one hop of each size
  double directCost = 0.0;              // estimated cost of one direct output
  std::vector<std::complex<double>, detail::AlignedAllocator<std::complex<double>>> spectrum;
  std::vector<std::complex<double>, detail::AlignedAllocator<std::complex<double>>> fftWork;
  std::vector<double, detail::AlignedAllocator<double>> fftReal;  // real transforms' input
  const detail::FirKernelTable* kernels = nullptr;
};

// Sizes and allocates the state for taps h (L >= 1 values) on real (complexData false) or
// complex data, with the rates above. Raises sigflow::Exception when the taps are empty, a
// rate is negative, or a delay lies outside 0 .. rate - 1 (delays are ignored for a rate of
// 0). The delay line starts zero-filled. Nothing is allocated afterwards by FirFilter or
// nspdFir.
void FirInit(FirState& state, std::span<const double> taps, bool complexData, int upSample = 1,
             int upDelay = 0, int downSample = 1, int downDelay = 0);
void FirInit(FirState& state, std::span<const std::complex<double>> taps, bool complexData,
             int upSample = 1, int upDelay = 0, int downSample = 1, int downDelay = 0);

// Back to the freshly initialised state (zero delay line, phase 0).
void FirReset(FirState& state);
// Releases the memory; the state is as default-constructed.
void FirFree(FirState& state);

// Outputs the next block of n input samples will produce.
std::size_t FirOutputCount(const FirState& state, std::size_t n);

// Filters one block and returns the number of outputs written to the front of out, which
// must hold FirOutputCount(state, in.size()) values. The overload must match the state:
// real data and real taps -> real output; real data and complex taps -> complex output;
// complex data -> complex output. A mismatch or a short output raises sigflow::Exception.
std::size_t FirFilter(FirState& state, std::span<const double> in, std::span<double> out);
std::size_t FirFilter(FirState& state, std::span<const double> in,
                      std::span<std::complex<double>> out);
std::size_t FirFilter(FirState& state, std::span<const std::complex<double>> in,
                      std::span<std::complex<double>> out);

// Single-sample path: advances the state by one real input sample exactly as a block of
// one would (blocks and samples may be mixed) and returns the first output that sample
// produced, 0 when it produced none (down-sampling); further outputs of the same sample
// (up-sampling) are dropped. Complex data takes x as x + 0j and returns the real part.
// Raises "FirState.ComplexImpulse = True!" when the taps are complex.
double nspdFir(FirState& state, double x);

namespace detail {
// Test hook: runs the state on instruction-set level 0 (baseline), 1 (AVX2) or 2
// (AVX-512), clamped to what the CPU supports. Returns the level in use.
int FirUseKernelLevel(FirState& state, int level);
// Test hook: switches a state with UpSample = DownSample = 1 between the direct form
// (false) and FFT overlap-save (true), whatever its length. Returns whether overlap-save
// is in use. Call between blocks; allocates when switching on.
bool FirUseOverlapSave(FirState& state, bool on);
}  // namespace detail

}  // namespace sigflow
