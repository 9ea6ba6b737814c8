#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/EventPoster.h"
#include "ZAR_DAWControl/platform/PropertyValue.h"
#include "ZAR_DAWControl/platform/sim/SimElement.h"

namespace zar::sim {

/// A simulated running application: its identity, its accessibility tree and its reactions to
/// input. Subclasses give it behaviour by overriding `keyEvent` and `mouseEvent`.
class SimApplication {
 public:
  struct Info {
    std::int32_t processIdentifier = 0;
    std::optional<std::string> bundleIdentifier;
    std::optional<std::string> bundleURL;
    std::optional<std::string> localizedName;
    /// The bundle's information dictionary ("CFBundleVersion" and so on).
    platform::PropertyDictionary infoDictionary;
  };

  explicit SimApplication(Info info);
  virtual ~SimApplication() = default;
  SimApplication(const SimApplication&) = delete;
  SimApplication& operator=(const SimApplication&) = delete;

  const Info& info() const { return _info; }
  std::int32_t processIdentifier() const { return _info.processIdentifier; }

  /// The element of the whole application (role "AXApplication", titled with the localized name);
  /// always the same object.
  std::shared_ptr<SimElement> applicationElement() const { return _applicationElement; }
  /// A new element of this application, with a listed "AXTitle" when a title is given. The
  /// application kills it when it quits, wherever it hangs.
  std::shared_ptr<SimElement> makeElement(const std::string& role, const std::optional<std::string>& title = {});
  /// Opens a window: a child of the application element, listed last in "AXWindows". The list runs
  /// front to back, so a window opened later lies behind the ones opened before it.
  std::shared_ptr<SimElement> addWindow(const std::string& title);
  /// Closes a window of this application: it leaves "AXWindows" and it and everything in it stop
  /// answering. Returns whether it was one of the application's windows.
  bool closeWindow(const std::shared_ptr<SimElement>& window);

  /// Kills every element of the application (what quitting does).
  void invalidateElements();

  /// A keyboard event delivered to the application. By default a key-down without Command or
  /// Control types its characters (or, when it has none, the layout's character for its key) into
  /// `typedText`.
  virtual void keyEvent(const platform::KeyboardEvent& event);
  /// A mouse event at a point (accessibility coordinates); returns whether the application handled
  /// it. By default nothing is handled.
  virtual bool mouseEvent(const platform::MouseEvent& event);

  /// Everything typed to the application so far, Return as "\n".
  std::string typedText() const;

 private:
  void updateWindowsAttribute();

  const Info _info;
  const std::shared_ptr<SimElement> _applicationElement;
  // Guarded by the element tree lock.
  std::vector<std::shared_ptr<SimElement>> _windows;
  std::vector<std::weak_ptr<SimElement>> _madeElements;
  std::size_t _pruneThreshold = 64;

  mutable std::mutex _textMutex;
  std::string _typedText;
};

}  // namespace zar::sim
