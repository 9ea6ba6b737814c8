#pragma once

/// \mainpage ZAR_DAWControl for hosts
///
/// A dialogue-recording host includes this header and links `ZAR::DAWControl` (CMake) or
/// `ZAR_DAWControl` (pkg-config). `examples/record_take.cpp` records one take against the
/// simulated Pro Tools; `examples/watch.cpp` only watches.
///
/// \section platform The platform and the main thread
/// The framework reaches the operating system only through the installed
/// `zar::platform::Platform`. A host either installs one (`zar::platform::buildDefaultPlatform`,
/// or `zar::platform::SimulatedProToolsHost` for the simulated desktop) or lets the first call of
/// `Platform::current()` make the default one. The main thread is the thread that made the main
/// run loop: with the default platform, the first thread to ask for `Platform::current()`. The
/// host runs that loop on that thread (`mainRunLoop->run()` or `runFor`); the framework's timers,
/// its warnings and its HUI lamp deadlines fire only while it runs. Choose the clock and the run
/// loop when the platform is made; don't replace them afterwards (see `Platform`).
///
/// \section readiness Ready for a pass
/// After "ZAR_DAWApplicationAdded" the application is known but not yet ready: a pass needs
/// Pro Tools to have pinged the HUI ports within the last 2 s (otherwise it shows the HUI warning
/// and sends nothing), and the tracks' record-enable and mute flags say off, whatever Pro Tools
/// shows, until the HUI side has seen every track's lamps. `ZAR_DAWApplication::readyForPass()`
/// says both; a host runs its main loop until it holds before it starts a pass.
///
/// \section threads Threads, blocking and notifications
/// | Operation | Thread | Blocks |
/// |---|---|---|
/// | `ZAR_DAWApplicationManager::sharedManager`, `setAllowed`, `allowed`, `enabled`, `currentApplication`, `trackModeList`, `muteRecMatrix` | any | no (the first `sharedManager` reads the two settings files) |
/// | `setEnabled(true)` | main | one discovery pass (reads Pro Tools' accessibility tree, tens of ms) |
/// | `setEnabled(false)` | main | returns at once; a pass that is posting drops the application itself |
/// | `rehearseWithEvent`, `recordWithEvent`, `reviewWithEvent` | the host's thread for passes (one at a time) | about 0.1 s HUI check, then the selection typed (30 ms per keystroke, 0.2 s between the fields, 0.1 s for review) and, when recording, the record track renamed |
/// | `updateDAWTrackStatesForFrameIndex` | the same thread, once per picture frame | HUI presses only (no waiting) |
/// | `stopPlayback`, `togglePlayback` | the same thread | no |
/// | `readyForPass`, `connected`, `audioTracks`, `currentProject`, `huiDevice` and other properties | any | no (`connected` of the Pro Tools driver: one accessibility read, 50 ms more when it fails once) |
/// | `ZAR_DAWApplicationProTools::updateAudioTracksForMode` | the thread for passes | HUI and input-monitor presses only (no waiting) |
/// | `ZAR_DAWApplicationProTools::findAudioTracks` | any (the refresh tick and the frame updates call it too) | reads the edit window's rows (on the real desktop about 1 ms for 64 known tracks, 0.1 s for a Pro Tools just started) |
/// | `ZAR_DAWApplicationProTools::selectionStartTC`, `selectionEndTC`, the `find...` element look-ups, `checkIf...` | any | a few accessibility reads |
/// | `ZAR_DAWApplicationProTools::setSelectionStartTC`, `setSelectionEndTC` | the thread for passes | 30 ms per keystroke typed |
/// | `UIElementUtilities` (every operation) | any | the accessibility calls it makes (a few) |
/// | mode list and matrix edits | any | they write the settings file before returning |
///
/// Notifications arrive on the platform's notification center, synchronously, on the thread
/// that caused them: "ZAR_DAWApplicationAdded" and "ZAR_DAWApplicationRemoved" on the thread of
/// `setEnabled` for the first pass and on a thread of the global queue for later passes (every
/// 2.5 s); "ZAR_DAWApplicationRecordStarted" on the thread that called `recordWithEvent` (while
/// the application's access lock is held: don't start another pass from the observer);
/// "ZAR_DAWApplicationTrackNamesChanged" and "ZAR_DAWApplicationSelectionChanged" on the main
/// thread (the 3-second UI refresh); "ZAR_DAWApplicationPassEnded", with the pass's
/// `ZAR_DAWPassRecord` as its object, on the thread that ended the pass (the host's thread for
/// passes at `stopPlayback` or at the next pass; when the framework lets go of Pro Tools, the
/// discovery's thread, or the thread of `setEnabled(false)`). An observer that touches the host's
/// UI hands itself over to the main thread. Warnings (alerts) are always shown on the main thread,
/// never waited for.
///
/// \section passes The black box of every pass
/// Every pass leaves a `ZAR_DAWPassRecord`: the cue, the tracks and their modes, and, time-stamped,
/// what the framework did (HUI messages, input-monitor presses, the selection typed, the record
/// track's new name) and what Pro Tools showed (lamps, input monitors, names), and the verdict.
/// `ZAR_DAWApplicationManager::recentPassRecords()` gives the last 20. Recording costs a pass no
/// accessibility call and well under a microsecond an event.
///
/// \section driver The Pro Tools driver and the element utilities
/// `ZAR_DAWApplicationManager::currentApplication()` is a `ZAR_DAWApplicationProTools` while
/// Pro Tools runs: a host that wants more than the base class (the tracks found again now, the
/// tracks put into a phase's states without a frame, the edit window's elements) casts to it.
/// `UIElementUtilities` reads and presses elements of any application through the installed
/// platform, by the names in `zar::ax` (AXNames.h): the same calls the driver makes.
///
/// \section project The session name
/// `ZAR_DAWApplication::currentProject()` is Pro Tools' edit window title less "Edit:", so it
/// begins with a blank: " Dialogue Session" for the window "Edit: Dialogue Session".

#include "ZAR_DAWControl/ZAR_DAWControlVersion.h"
#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/accessibility/UIElementUtilities.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettingsFileStatus.h"
#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/visualevents/ZAR_VisualEvent.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
