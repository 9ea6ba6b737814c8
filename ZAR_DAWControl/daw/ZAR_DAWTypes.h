#pragma once

#include <cstdint>

/// The kind of pass in progress (an application's `currentMode`).
using ZAR_DAWMode = std::int64_t;
inline constexpr ZAR_DAWMode ZAR_DAWModeNone = -1;
inline constexpr ZAR_DAWMode ZAR_DAWModeRehearse = 0;
inline constexpr ZAR_DAWMode ZAR_DAWModeRecord = 1;
inline constexpr ZAR_DAWMode ZAR_DAWModeReview = 2;

/// The DAW an application object drives. Pro Tools is the only one.
using ZAR_DAWApplicationType = std::int64_t;
inline constexpr ZAR_DAWApplicationType ZAR_DAWApplicationTypeProTools = 0;

/// Where the playhead stands relative to the cue.
using ZAR_DAWEventPhase = std::int64_t;
inline constexpr ZAR_DAWEventPhase ZAR_DAWEventPhaseBefore = 1;
inline constexpr ZAR_DAWEventPhase ZAR_DAWEventPhaseDuring = 2;
inline constexpr ZAR_DAWEventPhase ZAR_DAWEventPhaseAfter = 3;

/// A class that registers its preference defaults (in memory, never written).
template <typename T>
concept ZAR_RegisterUserDefaults = requires { T::registerUserDefaults(); };
