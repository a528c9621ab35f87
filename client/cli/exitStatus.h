// What velkarisctl's exit status says; part of its documented interface.
#pragma once

enum ExitStatus {
    kDone = 0,
    kFailed = 1,
    kUsageError = 2,
    kNoConsole = 3,
};
