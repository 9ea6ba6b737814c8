#include "ZAR_DAWControl/platform/linux/PropertyListNesting.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace zar::native {

namespace {

using Nesting = PropertyListNesting;
constexpr std::size_t npos = std::string_view::npos;

// ---- XML

bool isNameEnd(std::string_view text, std::size_t at) {
  return at >= text.size() || text[at] == '>' || text[at] == '/' || text[at] == ' ' || text[at] == '\t' ||
         text[at] == '\r' || text[at] == '\n';
}

/// Whether the markup at `at` (a '<', or "</" with `skip` 2) names an array or a dictionary.
bool namesContainer(std::string_view text, std::size_t at, std::size_t skip) {
  for (const std::string_view name : {std::string_view("array"), std::string_view("dict")}) {
    if (text.substr(at + skip, name.size()) == name && isNameEnd(text, at + skip + name.size())) return true;
  }
  return false;
}

/// The position of the first `stop` from `from` on that stands outside quotes.
std::size_t findOutsideQuotes(std::string_view text, std::size_t from, char stop) {
  char quote = 0;
  for (std::size_t i = from; i < text.size(); ++i) {
    if (quote != 0) {
      if (text[i] == quote) quote = 0;
    } else if (text[i] == '"' || text[i] == '\'') {
      quote = text[i];
    } else if (text[i] == stop) {
      return i;
    }
  }
  return npos;
}

/// The end (past the last character) of the markup at `at`, or npos when it is left open.
std::size_t markupEnd(std::string_view text, std::size_t at, bool& closesNothing) {
  const std::string_view rest = text.substr(at);
  const auto after = [&](std::string_view terminator, std::size_t from) {
    const std::size_t found = text.find(terminator, at + from);
    return found == npos ? npos : found + terminator.size();
  };
  closesNothing = true;
  if (rest.starts_with("<!--")) return after("-->", 4);
  if (rest.starts_with("<![CDATA[")) return after("]]>", 9);
  if (rest.starts_with("<?")) return after("?>", 2);
  if (rest.starts_with("<!")) {
    // A declaration, perhaps with an internal subset in brackets.
    std::size_t end = findOutsideQuotes(text, at + 2, '>');
    const std::size_t bracket = findOutsideQuotes(text, at + 2, '[');
    if (bracket != npos && bracket < end) {
      const std::size_t closing = findOutsideQuotes(text, bracket + 1, ']');
      end = closing == npos ? npos : findOutsideQuotes(text, closing + 1, '>');
    }
    return end == npos ? npos : end + 1;
  }
  closesNothing = false;
  const std::size_t end = findOutsideQuotes(text, at + 1, '>');
  return end == npos ? npos : end + 1;
}

Nesting xmlNesting(std::string_view text, std::size_t maximumDepth) {
  std::size_t depth = 0;
  const auto open = [&] { return ++depth <= maximumDepth; };
  for (std::size_t at = text.find('<'); at != npos; at = text.find('<', at)) {
    bool closesNothing = false;
    const std::size_t end = markupEnd(text, at, closesNothing);
    if (end == npos) return Nesting::unreadable;
    if (closesNothing) {
      // libplist might end this stretch sooner and read what follows as markup: count its opens.
      for (std::size_t inner = text.find('<', at + 1); inner < end; inner = text.find('<', inner + 1)) {
        if (namesContainer(text, inner, 1) && !open()) return Nesting::tooDeep;
      }
    } else if (text[at + 1] == '/') {
      if (namesContainer(text, at, 2) && depth > 0) --depth;
    } else if (namesContainer(text, at, 1) && text[end - 2] != '/' && !open()) {
      return Nesting::tooDeep;
    }
    at = end;
  }
  return Nesting::within;
}

// ---- binary

constexpr std::string_view binaryMagic = "bplist00";
constexpr std::size_t trailerSize = 32;

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = (value << 8) | static_cast<unsigned char>(byte);
  return value;
}

/// The objects of a binary property list and the references between them.
class BinaryList {
 public:
  /// Nothing when the trailer doesn't describe the data.
  static std::optional<BinaryList> open(std::string_view data) {
    if (data.size() < binaryMagic.size() + trailerSize) return std::nullopt;
    const std::string_view trailer = data.substr(data.size() - trailerSize);
    BinaryList list;
    list._data = data.substr(0, data.size() - trailerSize);
    list._offsetSize = static_cast<unsigned char>(trailer[6]);
    list._refSize = static_cast<unsigned char>(trailer[7]);
    list._count = bigEndian(trailer.substr(8, 8));
    list._top = bigEndian(trailer.substr(16, 8));
    list._table = bigEndian(trailer.substr(24, 8));
    const std::size_t size = list._data.size();
    if (list._offsetSize < 1 || list._offsetSize > 8 || list._refSize < 1 || list._refSize > 8 || list._count == 0 ||
        list._top >= list._count || list._table > size || list._count > (size - list._table) / list._offsetSize) {
      return std::nullopt;
    }
    return list;
  }

  std::uint64_t count() const { return _count; }
  std::uint64_t top() const { return _top; }

  /// The objects that object `index` refers to, if it is a container: false when it can't be read.
  bool children(std::uint64_t index, std::vector<std::uint64_t>& found) const {
    found.clear();
    const std::uint64_t offset = bigEndian(_data.substr(_table + index * _offsetSize, _offsetSize));
    if (offset >= _data.size()) return false;
    const auto marker = static_cast<unsigned char>(_data[offset]);
    const unsigned type = marker >> 4;
    if (type != 0xA && type != 0xC && type != 0xD) return true;  // arrays, sets and dictionaries
    std::uint64_t entries = marker & 0x0F;
    std::uint64_t position = offset + 1;
    if (entries == 0x0F) {  // the count follows as an integer object
      if (position >= _data.size()) return false;
      const auto countMarker = static_cast<unsigned char>(_data[position]);
      const std::uint64_t width = std::uint64_t{1} << (countMarker & 0x0F);
      if ((countMarker >> 4) != 0x1 || width > 8 || position + 1 + width > _data.size()) return false;
      entries = bigEndian(_data.substr(position + 1, width));
      position += 1 + width;
    }
    const std::uint64_t room = (_data.size() - position) / _refSize;
    const std::uint64_t references = type == 0xD ? entries * 2 : entries;  // keys, then values
    if (entries > room || references > room) return false;
    found.reserve(references);
    for (std::uint64_t i = 0; i < references; ++i) {
      const std::uint64_t child = bigEndian(_data.substr(position + i * _refSize, _refSize));
      if (child >= _count) return false;
      found.push_back(child);
    }
    return true;
  }

  /// Whether the object is an array, set or dictionary (one outside the data is none).
  bool isContainer(std::uint64_t index) const {
    const std::uint64_t offset = bigEndian(_data.substr(_table + index * _offsetSize, _offsetSize));
    if (offset >= _data.size()) return false;
    const unsigned type = static_cast<unsigned char>(_data[offset]) >> 4;
    return type == 0xA || type == 0xC || type == 0xD;
  }

 private:
  std::string_view _data;
  unsigned _offsetSize = 0;
  unsigned _refSize = 0;
  std::uint64_t _count = 0;
  std::uint64_t _top = 0;
  std::uint64_t _table = 0;
};

/// Depth-first over the object graph, without recursion and each object once: the depth below an
/// object is remembered, a reference back into the current path is a cycle.
Nesting binaryNesting(std::string_view data, std::size_t maximumDepth) {
  const std::optional<BinaryList> list = BinaryList::open(data);
  if (!list) return Nesting::unreadable;
  enum : std::uint8_t { unseen, onPath, measured };
  std::vector<std::uint8_t> state(list->count(), unseen);
  std::vector<std::size_t> depthBelow(list->count(), 0);  // containers, this one included
  struct Frame {
    std::uint64_t index;
    std::vector<std::uint64_t> children;
    std::size_t next = 0;
    std::size_t deepestChild = 0;
  };
  std::vector<Frame> path;
  const auto enter = [&](std::uint64_t index) {
    Frame frame{index, {}};
    if (!list->children(index, frame.children)) return false;
    state[index] = onPath;
    path.push_back(std::move(frame));
    return true;
  };
  if (!list->isContainer(list->top())) return Nesting::within;
  if (!enter(list->top())) return Nesting::unreadable;
  while (!path.empty()) {
    Frame& frame = path.back();
    if (frame.next == frame.children.size()) {
      const std::size_t depth = frame.deepestChild + 1;
      state[frame.index] = measured;
      depthBelow[frame.index] = depth;
      path.pop_back();
      if (!path.empty() && depth > path.back().deepestChild) path.back().deepestChild = depth;
      continue;
    }
    const std::uint64_t child = frame.children[frame.next++];
    if (state[child] == onPath) return Nesting::tooDeep;
    if (state[child] == measured) {
      // Met before on another path, perhaps higher up: it must fit below this one too.
      if (path.size() + depthBelow[child] > maximumDepth) return Nesting::tooDeep;
      if (depthBelow[child] > frame.deepestChild) frame.deepestChild = depthBelow[child];
      continue;
    }
    if (!list->isContainer(child)) continue;
    if (path.size() >= maximumDepth) return Nesting::tooDeep;
    if (!enter(child)) return Nesting::unreadable;
  }
  return Nesting::within;  // no path grew beyond the maximum
}

}  // namespace

PropertyListNesting propertyListNesting(std::string_view content, std::size_t maximumDepth) {
  if (content.starts_with(binaryMagic)) return binaryNesting(content, maximumDepth);
  return xmlNesting(content, maximumDepth);
}

}  // namespace zar::native
