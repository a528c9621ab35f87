// What velkarisctl's exit status says; part of its documented interface.
#pragma once

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsageError = 2;
constexpr int kNoConsole = 3;
