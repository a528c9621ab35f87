// What the Linux layer has to say to the operator. The service prints its own lines, with its own
// prefix; every line of the layer goes through here.
#pragma once

// One line on standard error: "velkaris: ", the printf-like text, a line feed. Cut at 1 KiB.
// The journal gets the priority of an error before it.
[[gnu::format(printf, 1, 2)]] void layerError(const char* format, ...);
