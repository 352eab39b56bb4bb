#pragma once
// Registers the component classes of the signal tools (TSignal, TSpectrum, TSignalList, ...)
// with the class registry, so a component tree can create them by name. The unit also does it
// at static initialisation; programs linked statically that create these components only by
// name call it themselves. Safe to call more than once.
namespace sigflow {

void RegisterSignalToolsClasses();

}  // namespace sigflow
