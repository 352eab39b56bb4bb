#pragma once
// Registers TSignalGenerator and TSignalGeneratorList with the class registry, so a component
// tree can create them by name. Also done at static initialisation; safe to call more than once.
namespace sigflow {

void RegisterSignalGeneratorClasses();

}  // namespace sigflow
