#pragma once
// Registers the file components (TFileStorage, TSignalRead, TSignalWrite, TSignalBrowse and
// the reader and writer lists) with the class registry. The unit does it at static
// initialisation too; statically linked programs that create them only by name call it.
// Safe to call more than once.
namespace sigflow {

void RegisterFileSignalClasses();

}  // namespace sigflow
