#pragma once

/// Names of the accessibility attributes, roles and actions the framework uses, as the platform
/// spells them: what a host passes to `UIElementUtilities` to read the same elements. Constants;
/// any thread.
namespace zar::ax {

inline constexpr const char* kWindowsAttribute = "AXWindows";
inline constexpr const char* kChildrenAttribute = "AXChildren";
inline constexpr const char* kRowsAttribute = "AXRows";
inline constexpr const char* kParentAttribute = "AXParent";
inline constexpr const char* kTitleAttribute = "AXTitle";
inline constexpr const char* kRoleAttribute = "AXRole";
inline constexpr const char* kValueAttribute = "AXValue";
inline constexpr const char* kFrameAttribute = "AXFrame";
inline constexpr const char* kPositionAttribute = "AXPosition";
inline constexpr const char* kSizeAttribute = "AXSize";
inline constexpr const char* kDescriptionAttribute = "AXDescription";

inline constexpr const char* kApplicationRole = "AXApplication";
inline constexpr const char* kWindowRole = "AXWindow";
inline constexpr const char* kGroupRole = "AXGroup";
inline constexpr const char* kToolbarRole = "AXToolbar";
inline constexpr const char* kButtonRole = "AXButton";
inline constexpr const char* kTextFieldRole = "AXTextField";

inline constexpr const char* kPressAction = "AXPress";

}  // namespace zar::ax
