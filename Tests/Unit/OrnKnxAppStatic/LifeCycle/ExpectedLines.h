#pragma once

#include <string>
#include <vector>

#include "Stop.h"

/// What an application program says on its ways through a cycle: lines of the form "LEVEL function - message".
namespace LifeCycle {

using Lines = std::vector<std::string>;

/// Of the cycle, from the stop to its end: when nothing happens.
Lines LinesOfAnUndisturbedCycle(Stop from);
/// When it was asked to end and goes on in time.
Lines LinesOfAStoppedCycle(Stop at);
/// When the connection was lost. `wasKnown`: an earlier cycle has found out which logical device this is.
Lines LinesOfALoss(Stop at, bool wasKnown);
/// When the device stack answers no more; without the messenger's warning of that.
Lines LinesOfASilence(Stop at, bool wasKnown);
/// When the load state was lost.
Lines LinesOfAnUnloadedCycle(Stop at);
/// When the app host died.
Lines LinesOfACycleWithoutAppHost(Stop at);

/// What a call of the host finds.
struct Situation {
    enum class RunState { Unknown, Stopped, Running };

    bool isDeviceKnown;
    RunState runState;
    bool isAppHostHeld;   ///< there is a process, running or not
    bool isAppHostAlive;  ///< it obeys
    bool threadEnds;      ///< in time
};

/// Of the host's thread.
Lines LinesOfARestart(const Situation& situation);
Lines LinesOfAnExit(const Situation& situation);
extern const Lines LinesOfAnIgnoredRestart;

}  // namespace LifeCycle
