// What the service manager is told that started the console, systemd for instance: datagrams to the
// socket that NOTIFY_SOCKET names. Without one all of this does nothing. No call waits or fails;
// what the manager has no room for is said again with a later tick.
#pragma once

#include <string>

// Takes the manager's variables out of the environment: what the console runs does not speak for
// it. The first call counts, and comes before any program is run.
void meetSupervisor();

// What is drawn on, in a few words: part of the status that an operator reads.
void tellSupervisorOfWindow(const std::string& window);

// The node is there, and with it the service; `node` in a few words.
void tellSupervisorReady(const std::string& node);

// A tick has been served. Feeds the watchdog, four times in the time that it allows.
void tellSupervisorOfTick();

void tellSupervisorStopping();
