#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/AXTypes.h"

namespace zar::sim {

/// One user-interface object of a simulated application, as the accessibility interface sees it.
///
/// The builder side (`setAttribute`, `addChild`, `addAction`, ...) is how a simulated application
/// makes and changes its interface; the answering side (`copyAttributeValue`, `performAction`, ...)
/// is what the accessibility interface gets back. Every element of every simulated desktop shares
/// one recursive lock, so reactions may change the tree while answering; hooks and action handlers
/// run without the lock held by the element itself.
///
/// "AXChildren" (the children, in order) and "AXParent" (the structural parent, while it lives)
/// are computed and listed; a stored attribute of the same name overrides either, which is how a
/// parent loop is built. An element value stored in an attribute is a strong reference.
class SimElement final : public platform::AXUIElement, public std::enable_shared_from_this<SimElement> {
 public:
  using Value = platform::AXAttributeValue;
  /// Told the new value after an accessibility client set the attribute.
  using SetHook = std::function<void(const Value&)>;
  using ActionHandler = std::function<void()>;

  /// A new element of process `pid` with a listed, read-only "AXRole".
  static std::shared_ptr<SimElement> create(std::int32_t pid, const std::string& role);

  /// Holds the lock of all simulated elements: changes made while holding it appear to
  /// accessibility clients at once.
  static std::unique_lock<std::recursive_mutex> lockTree();

  SimElement(const SimElement&) = delete;
  SimElement& operator=(const SimElement&) = delete;

  std::int32_t processIdentifier() const { return _pid; }

  // Builder side. These work on dead and failing elements too.

  /// Adds or replaces an attribute's value. `listed` says whether the attribute appears among the
  /// element's attribute names; an unlisted one can still be read directly. Settability and the
  /// hook of an existing attribute are kept.
  SimElement& setAttribute(const std::string& name, Value value, bool listed = true);
  /// Makes an existing attribute settable (or not) by accessibility clients; `onSet` is told each
  /// new value. Does nothing for an attribute that isn't stored.
  SimElement& setSettable(const std::string& name, bool settable, SetHook onSet = {});
  bool removeAttribute(const std::string& name);
  /// The attribute's value as a client would read it directly (stored or computed), ignoring
  /// failure injection and invalidation.
  std::optional<Value> attribute(const std::string& name) const;
  /// Sets the listed "AXPosition" and "AXSize" and the supported but unlisted "AXFrame", in
  /// accessibility coordinates, as the platform presents most controls.
  SimElement& setFrame(platform::Rect frame);
  /// The rectangle of "AXPosition" and "AXSize", when both are points and sizes.
  std::optional<platform::Rect> frame() const;

  /// Adds or replaces an action; the handler may be empty.
  SimElement& addAction(const std::string& name, std::string description, ActionHandler handler);

  /// Appends `child` (taking it from its previous parent) and returns it. A null child, the
  /// element itself or one of its ancestors is refused: nothing changes and the result is null.
  std::shared_ptr<SimElement> addChild(std::shared_ptr<SimElement> child);
  bool removeChild(const std::shared_ptr<SimElement>& child);

  /// From now on every accessibility call on the element answers `error`; nothing restores it.
  void setFailure(std::optional<platform::AXError> error);
  /// The next `calls` accessibility calls on the element answer `error` (an application busy for
  /// a moment), then it answers as before.
  void failNextCalls(platform::AXError error, int calls);
  /// Kills the element and all its descendants: from now on they answer invalidUIElement.
  void invalidate();

  // Answering side: the accessibility calls, with the platform's results. A dead element answers
  // invalidUIElement before an injected failure is considered.

  platform::AXError copyAttributeNames(std::vector<std::string>& names) const;
  platform::AXError copyAttributeValue(const std::string& attribute, Value& value) const;
  /// The length of a list attribute; illegalArgument for an attribute that isn't a list.
  platform::AXError getAttributeValueCount(const std::string& attribute, long& count) const;
  platform::AXError isAttributeSettable(const std::string& attribute, bool& settable) const;
  /// Stores the value of a settable attribute and tells its hook; a value of another kind than
  /// the current one is an illegalArgument.
  platform::AXError setAttributeValue(const std::string& attribute, const Value& value);
  platform::AXError copyActionNames(std::vector<std::string>& names) const;
  platform::AXError copyActionDescription(const std::string& action, std::string& description) const;
  platform::AXError performAction(const std::string& action);
  platform::AXError getPid(std::int32_t& pid) const;

 private:
  struct Attribute {
    std::string name;
    Value value;
    bool listed = true;
    bool settable = false;
    SetHook onSet;
  };
  struct Action {
    std::string name;
    std::string description;
    ActionHandler handler;
  };

  SimElement(std::int32_t pid, const std::string& role);

  static std::recursive_mutex& treeMutex();
  platform::AXError answerability() const;
  /// The action of that name on an answering element, or why there is none; the caller holds the tree lock.
  const Action* answeringAction(const std::string& name, platform::AXError& error) const;
  const Attribute* storedAttribute(const std::string& name) const;
  Attribute* storedAttribute(const std::string& name);
  bool isAncestorOrSelf(const SimElement* element) const;

  const std::int32_t _pid;
  std::vector<Attribute> _attributes;
  std::vector<Action> _actions;
  std::vector<std::shared_ptr<SimElement>> _children;
  std::weak_ptr<SimElement> _parent;
  std::optional<platform::AXError> _failure;
  platform::AXError _transientFailure = platform::AXError::success;
  mutable int _transientFailures = 0;
  bool _valid = true;
};

}  // namespace zar::sim
