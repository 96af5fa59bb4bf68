// The notifications the parts of a session send one another through the thread's default centre.
#pragma once

namespace vello {

// The filtered picture has changed. Object: the stack, a filter box, or a parameter controller
// (KPCoreImageParameterController), which adds KPUpdateDelayKey to the user info.
inline constexpr const char* KPFilterStackChangedNotification = "KPFilterStackChangedNotification";
// What a filter box's buttons ask of the stack. Object: the box.
inline constexpr const char* KPAddFilterNotification = "KPAddFilterNotification";
inline constexpr const char* KPDuplicateFilterNotification = "KPDuplicateFilterNotification";
inline constexpr const char* KPRemoveFilterNotification = "KPRemoveFilterNotification";
// A controller with an on-canvas view came or goes. Object: the controller, as a pointer to
// KPParameterViewControllerProtocol. The canvas answers the first at once by calling setImageBounds().
inline constexpr const char* KPPositionControlAddedNotification = "KPPositionControlAddedNotification";
inline constexpr const char* KPPositionControlRemovedNotification = "KPPositionControlRemovedNotification";

// Real, seconds: how long the preview waits before it renders again.
inline constexpr const char* KPUpdateDelayKey = "KPUpdateDelayKey";

}  // namespace vello
