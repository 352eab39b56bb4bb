#pragma once
// A component tree (a root and the components it owns, recursively) as a JSON document:
//
//   {"class": "TForm", "name": "Form1",
//    "properties": {"Active": false, "Shape": "shSine", "Input": "Gen1", "Inputs": {"items": [...]}},
//    "binary": {"SignalBinaryData": "<base64>"}, "text": {"Strings": "a\r\nb\r\n"},
//    "children": [ {"class": "TGen", "name": "Gen1", ...}, ... ]}
//
// Saved: class name, Name, published properties that differ from their default, references
// by Name, owned sub-objects inline (collections as "items"), DefineProperties data, and the
// owned components in creation order. The output is deterministic.
//
// Loading checks the whole document first and leaves the tree as it was when anything is
// wrong, raising EReadError "<place>: <problem>" where the place is the component path
// ("Form1.Gen1"), extended by the property (".Amplitude"), followed by " (line N)" for the
// line of the offending key or value; syntax errors read "Invalid JSON at line L, column C". A child whose Name matches an existing owned component
// of the same class is read into it; other children are created through the class registry.
// References are resolved after the whole tree is read, by Name (the first component of that
// Name in the tree, root first, depth-first). Every component read carries csLoading while
// the tree is read and gets Loaded() afterwards. Components the document does not mention are
// kept. Only an exception from a property setter or a data reader can stop a load half done.
#include <string>

#include "sigflow/core/Component.h"
#include "sigflow/core/Streams.h"

namespace sigflow {

void SaveComponentTree(TComponent& Root, TStream& Stream);
// Reads from the stream's position to its end.
void LoadComponentTree(TComponent& Root, TStream& Stream);

std::string SaveComponentTreeToString(TComponent& Root);
void LoadComponentTreeFromString(TComponent& Root, const std::string& Text);

void SaveComponentTreeToFile(TComponent& Root, const std::string& FileName);
void LoadComponentTreeFromFile(TComponent& Root, const std::string& FileName);

}  // namespace sigflow
