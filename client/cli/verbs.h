// The verbs of velkarisctl. Each gets the options and its operands, whose number fits the verb's
// record in the table, and returns the exit status.
#pragma once

#include <string>
#include <vector>

#include "cli/commandLine.h"

using Operands = std::vector<std::string>;

int addVerb(const Options& options, const Operands& operands);
int demoVerb(const Options& options, const Operands& operands);
int gaugeVerb(const Options& options, const Operands& operands);
int percentVerb(const Options& options, const Operands& operands);
int runVerb(const Options& options, const Operands& command);
int setVerb(const Options& options, const Operands& operands);
int statusVerb(const Options& options, const Operands& operands);
int tailVerb(const Options& options, const Operands& operands);
int updateVerb(const Options& options, const Operands& operands);
int waitVerb(const Options& options, const Operands& operands);
int writeVerb(const Options& options, const Operands& operands);
