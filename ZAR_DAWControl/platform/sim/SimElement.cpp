#include "ZAR_DAWControl/platform/sim/SimElement.h"

#include <algorithm>

#include "ZAR_DAWControl/accessibility/AXNames.h"

namespace zar::sim {

using platform::AXError;

namespace {

// Kinds must match for a client's set to be accepted: a text for a text, a point for a point.
bool sameKind(const SimElement::Value& current, const SimElement::Value& proposed) {
  if (current.storage.index() != proposed.storage.index()) {
    return false;
  }
  const auto* currentTyped = current.get<platform::AXTypedValue>();
  const auto* proposedTyped = proposed.get<platform::AXTypedValue>();
  return currentTyped == nullptr || currentTyped->type() == proposedTyped->type();
}

}  // namespace

std::shared_ptr<SimElement> SimElement::create(std::int32_t pid, const std::string& role) {
  return std::shared_ptr<SimElement>(new SimElement(pid, role));
}

SimElement::SimElement(std::int32_t pid, const std::string& role) : _pid(pid) {
  _attributes.push_back(Attribute{ax::kRoleAttribute, Value(role), true, false, {}});
}

std::recursive_mutex& SimElement::treeMutex() {
  static std::recursive_mutex mutex;
  return mutex;
}

std::unique_lock<std::recursive_mutex> SimElement::lockTree() { return std::unique_lock(treeMutex()); }

const SimElement::Attribute* SimElement::storedAttribute(const std::string& name) const {
  const auto it = std::find_if(_attributes.begin(), _attributes.end(), [&](const auto& a) { return a.name == name; });
  return it == _attributes.end() ? nullptr : &*it;
}

SimElement::Attribute* SimElement::storedAttribute(const std::string& name) {
  const auto it = std::find_if(_attributes.begin(), _attributes.end(), [&](const auto& a) { return a.name == name; });
  return it == _attributes.end() ? nullptr : &*it;
}

SimElement& SimElement::setAttribute(const std::string& name, Value value, bool listed) {
  auto lock = lockTree();
  if (auto* existing = storedAttribute(name)) {
    existing->value = std::move(value);
    existing->listed = listed;
  } else {
    _attributes.push_back(Attribute{name, std::move(value), listed, false, {}});
  }
  return *this;
}

SimElement& SimElement::setSettable(const std::string& name, bool settable, SetHook onSet) {
  auto lock = lockTree();
  if (auto* existing = storedAttribute(name)) {
    existing->settable = settable;
    existing->onSet = std::move(onSet);
  }
  return *this;
}

bool SimElement::removeAttribute(const std::string& name) {
  auto lock = lockTree();
  const auto removed = std::erase_if(_attributes, [&](const auto& a) { return a.name == name; });
  return removed != 0;
}

std::optional<SimElement::Value> SimElement::attribute(const std::string& name) const {
  auto lock = lockTree();
  if (const auto* stored = storedAttribute(name)) {
    return stored->value;
  }
  if (name == ax::kChildrenAttribute) {
    platform::AXValueList list;
    list.reserve(_children.size());
    for (const auto& child : _children) {
      list.emplace_back(platform::AXUIElementRef(child));
    }
    return Value(std::move(list));
  }
  if (name == ax::kParentAttribute) {
    if (auto parentElement = _parent.lock()) {
      return Value(platform::AXUIElementRef(std::move(parentElement)));
    }
  }
  return std::nullopt;
}

SimElement& SimElement::setFrame(platform::Rect frame) {
  auto lock = lockTree();
  setAttribute(ax::kPositionAttribute, platform::AXTypedValue::point(frame.origin));
  setAttribute(ax::kSizeAttribute, platform::AXTypedValue::size(frame.size));
  setAttribute(ax::kFrameAttribute, platform::AXTypedValue::rect(frame), false);
  return *this;
}

std::optional<platform::Rect> SimElement::frame() const {
  auto lock = lockTree();
  const auto position = attribute(ax::kPositionAttribute);
  const auto size = attribute(ax::kSizeAttribute);
  const auto* positionValue = position ? position->get<platform::AXTypedValue>() : nullptr;
  const auto* sizeValue = size ? size->get<platform::AXTypedValue>() : nullptr;
  if (positionValue == nullptr || sizeValue == nullptr || positionValue->pointValue() == nullptr ||
      sizeValue->sizeValue() == nullptr) {
    return std::nullopt;
  }
  return platform::Rect{*positionValue->pointValue(), *sizeValue->sizeValue()};
}

SimElement& SimElement::addAction(const std::string& name, std::string description, ActionHandler handler) {
  auto lock = lockTree();
  const auto it = std::find_if(_actions.begin(), _actions.end(), [&](const auto& a) { return a.name == name; });
  if (it != _actions.end()) {
    it->description = std::move(description);
    it->handler = std::move(handler);
  } else {
    _actions.push_back(Action{name, std::move(description), std::move(handler)});
  }
  return *this;
}

bool SimElement::isAncestorOrSelf(const SimElement* element) const {
  for (auto current = shared_from_this(); current; current = current->_parent.lock()) {
    if (current.get() == element) {
      return true;
    }
  }
  return false;
}

std::shared_ptr<SimElement> SimElement::addChild(std::shared_ptr<SimElement> child) {
  auto lock = lockTree();
  if (!child || isAncestorOrSelf(child.get())) {
    return nullptr;
  }
  if (auto previous = child->_parent.lock()) {
    std::erase(previous->_children, child);
  }
  child->_parent = weak_from_this();
  _children.push_back(child);
  return child;
}

bool SimElement::removeChild(const std::shared_ptr<SimElement>& child) {
  auto lock = lockTree();
  if (std::erase(_children, child) == 0) {
    return false;
  }
  child->_parent.reset();
  return true;
}

void SimElement::setFailure(std::optional<AXError> error) {
  auto lock = lockTree();
  _failure = error;
}

void SimElement::failNextCalls(AXError error, int calls) {
  auto lock = lockTree();
  _transientFailure = error;
  _transientFailures = calls;
}

void SimElement::invalidate() {
  auto lock = lockTree();
  _valid = false;
  for (const auto& child : _children) {
    child->invalidate();
  }
}

AXError SimElement::answerability() const {
  if (!_valid) {
    return AXError::invalidUIElement;
  }
  if (_transientFailures > 0) {
    --_transientFailures;
    return _transientFailure;
  }
  return _failure.value_or(AXError::success);
}

AXError SimElement::copyAttributeNames(std::vector<std::string>& names) const {
  auto lock = lockTree();
  if (const auto error = answerability(); error != AXError::success) {
    return error;
  }
  names.clear();
  for (const auto& stored : _attributes) {
    if (stored.listed) {
      names.push_back(stored.name);
    }
  }
  if (storedAttribute(ax::kParentAttribute) == nullptr && !_parent.expired()) {
    names.emplace_back(ax::kParentAttribute);
  }
  if (storedAttribute(ax::kChildrenAttribute) == nullptr) {
    names.emplace_back(ax::kChildrenAttribute);
  }
  return AXError::success;
}

AXError SimElement::copyAttributeValue(const std::string& attributeName, Value& value) const {
  auto lock = lockTree();
  if (const auto error = answerability(); error != AXError::success) {
    return error;
  }
  auto found = attribute(attributeName);
  if (!found) {
    return AXError::attributeUnsupported;
  }
  value = std::move(*found);
  return AXError::success;
}

AXError SimElement::getAttributeValueCount(const std::string& attributeName, long& count) const {
  auto lock = lockTree();
  if (const auto error = answerability(); error != AXError::success) {
    return error;
  }
  const auto found = attribute(attributeName);
  if (!found) {
    return AXError::attributeUnsupported;
  }
  const auto* list = found->get<platform::AXValueList>();
  if (list == nullptr) {
    return AXError::illegalArgument;
  }
  count = static_cast<long>(list->size());
  return AXError::success;
}

AXError SimElement::isAttributeSettable(const std::string& attributeName, bool& settable) const {
  auto lock = lockTree();
  if (const auto error = answerability(); error != AXError::success) {
    return error;
  }
  if (const auto* stored = storedAttribute(attributeName)) {
    settable = stored->settable;
    return AXError::success;
  }
  if (attribute(attributeName)) {
    settable = false;
    return AXError::success;
  }
  return AXError::attributeUnsupported;
}

AXError SimElement::setAttributeValue(const std::string& attributeName, const Value& value) {
  SetHook hook;
  {
    auto lock = lockTree();
    if (const auto error = answerability(); error != AXError::success) {
      return error;
    }
    auto* stored = storedAttribute(attributeName);
    if (stored == nullptr || !stored->settable) {
      return AXError::attributeUnsupported;
    }
    if (!sameKind(stored->value, value)) {
      return AXError::illegalArgument;
    }
    stored->value = value;
    hook = stored->onSet;
  }
  if (hook) {
    hook(value);
  }
  return AXError::success;
}

AXError SimElement::copyActionNames(std::vector<std::string>& names) const {
  auto lock = lockTree();
  if (const auto error = answerability(); error != AXError::success) {
    return error;
  }
  names.clear();
  for (const auto& action : _actions) {
    names.push_back(action.name);
  }
  return AXError::success;
}

const SimElement::Action* SimElement::answeringAction(const std::string& name, AXError& error) const {
  error = answerability();
  if (error != AXError::success) {
    return nullptr;
  }
  const auto it = std::find_if(_actions.begin(), _actions.end(), [&](const auto& a) { return a.name == name; });
  if (it == _actions.end()) {
    error = AXError::actionUnsupported;
    return nullptr;
  }
  return &*it;
}

AXError SimElement::copyActionDescription(const std::string& action, std::string& description) const {
  auto lock = lockTree();
  AXError error = AXError::success;
  if (const Action* found = answeringAction(action, error)) {
    description = found->description;
  }
  return error;
}

AXError SimElement::performAction(const std::string& action) {
  // The handler runs under the tree lock: an application invalidates its elements under that lock
  // before it goes, so a handler that finds its element answering finds its application still there.
  auto lock = lockTree();
  AXError error = AXError::success;
  if (const Action* found = answeringAction(action, error); found && found->handler) {
    const ActionHandler handler = found->handler;  // the handler may replace the element's actions
    handler();
  }
  return error;
}

AXError SimElement::getPid(std::int32_t& pid) const {
  auto lock = lockTree();
  if (const auto error = answerability(); error != AXError::success) {
    return error;
  }
  pid = _pid;
  return AXError::success;
}

}  // namespace zar::sim
