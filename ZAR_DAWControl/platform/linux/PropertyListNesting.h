#pragma once

#include <cstddef>
#include <string_view>

namespace zar::native {

/// How deep a property list nests its arrays and dictionaries, measured on the bytes (XML or
/// binary, as libplist tells them apart) without building anything. libplist's readers and writers
/// recurse once per level, so a file nested thousands deep must be refused before it reaches them.
enum class PropertyListNesting {
  within,     ///< at most the depth asked for
  tooDeep,    ///< deeper, or a binary list whose objects refer to themselves
  unreadable  ///< markup left open, or binary offsets outside the data: no property list
};

/// The XML measure errs on the deep side: comments, CDATA, processing instructions and
/// declarations close nothing, but an opening `<array` or `<dict` counts wherever it stands.
PropertyListNesting propertyListNesting(std::string_view content, std::size_t maximumDepth);

}  // namespace zar::native
