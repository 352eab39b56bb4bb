#pragma once
// Registers the buffer and channel components - TSignalBuffer, TSignalIncBuffer,
// TSignalDecBuffer, TSignalMux, TSignalDemux - with the class registry, so a component tree
// can create them by name. Each class also registers itself at static initialisation when its
// object file is linked; safe to call more than once.
namespace sigflow {

void RegisterSignalBufferClasses();

}  // namespace sigflow
