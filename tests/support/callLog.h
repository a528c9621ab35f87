// One ordered record of what the service asked of its platform, each call as text with its
// arguments. All fakes write into it, so that tests see order across interfaces.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

using Calls = std::vector<std::string>;

// Adds one printf-like line. Floats belong in with "%.9g", which keeps all their bits.
void recordCall(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Everything recorded since the last clearCalls(), oldest first.
const Calls& calls();

// The recorded calls whose text begins with one of `prefixes`, oldest first.
Calls callsTo(std::initializer_list<const char*> prefixes);

// How many recorded calls begin with `prefix`.
int callCount(const char* prefix);

void clearCalls();
