#include "ZAR_DAWControl/platform/sim/SimApplication.h"

#include <algorithm>

#include "ZAR_DAWControl/accessibility/AXNames.h"

#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/utility/Utf8Text.h"

namespace zar::sim {

SimApplication::SimApplication(Info info)
    : _info(std::move(info)), _applicationElement(SimElement::create(_info.processIdentifier, ax::kApplicationRole)) {
  if (_info.localizedName) {
    _applicationElement->setAttribute(ax::kTitleAttribute, *_info.localizedName);
  }
  _applicationElement->setAttribute(ax::kWindowsAttribute, platform::AXValueList{});
}

std::shared_ptr<SimElement> SimApplication::makeElement(const std::string& role,
                                                        const std::optional<std::string>& title) {
  auto element = SimElement::create(_info.processIdentifier, role);
  if (title) {
    element->setAttribute(ax::kTitleAttribute, *title);
  }
  auto lock = SimElement::lockTree();
  // Applications that rebuild their interface often make many short-lived elements.
  if (_madeElements.size() >= _pruneThreshold) {
    std::erase_if(_madeElements, [](const auto& weak) { return weak.expired(); });
    _pruneThreshold = std::max<std::size_t>(64, 2 * _madeElements.size());
  }
  _madeElements.push_back(element);
  return element;
}

std::shared_ptr<SimElement> SimApplication::addWindow(const std::string& title) {
  auto window = makeElement(ax::kWindowRole, title);
  auto lock = SimElement::lockTree();
  _applicationElement->addChild(window);
  _windows.push_back(window);
  updateWindowsAttribute();
  return window;
}

bool SimApplication::closeWindow(const std::shared_ptr<SimElement>& window) {
  auto lock = SimElement::lockTree();
  if (std::erase(_windows, window) == 0) {
    return false;
  }
  _applicationElement->removeChild(window);
  window->invalidate();
  updateWindowsAttribute();
  return true;
}

void SimApplication::updateWindowsAttribute() {
  platform::AXValueList list;
  for (const auto& window : _windows) {
    list.emplace_back(platform::AXUIElementRef(window));
  }
  _applicationElement->setAttribute(ax::kWindowsAttribute, std::move(list));
}

void SimApplication::invalidateElements() {
  auto lock = SimElement::lockTree();
  _applicationElement->invalidate();
  for (const auto& weak : _madeElements) {
    if (auto element = weak.lock()) {
      element->invalidate();
    }
  }
  _madeElements.clear();
}

void SimApplication::keyEvent(const platform::KeyboardEvent& event) {
  if (!event.keyDown || (event.flags & (platform::EventFlagMaskCommand | platform::EventFlagMaskControl)) != 0) {
    return;
  }
  std::string text = event.characters;
  if (text.empty()) {
    const auto character =
        platform::KeyboardLayout::characterForKeyCode(event.keyCode, (event.flags & platform::EventFlagMaskShift) != 0);
    if (!character) {
      return;
    }
    text = platform::Utf8Text::encode(*character);
  }
  std::lock_guard lock(_textMutex);
  _typedText += text;
}

bool SimApplication::mouseEvent(const platform::MouseEvent& /*event*/) { return false; }

std::string SimApplication::typedText() const {
  std::lock_guard lock(_textMutex);
  return _typedText;
}

}  // namespace zar::sim
