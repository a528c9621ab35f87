// The virtual terminal that the console lies over. While the program has it, its text is not drawn
// and switching to another one is agreed with the program; at the end of the process, by a signal
// too, it is a text terminal again. Without any virtual terminal all of it does nothing.
#pragma once

// Whether the program's terminal is the one that is seen; true if it has none. The program's is the
// one on its standard input; else, if that is none and the kernel lets it, the one that is seen
// when this is called first.
bool isTerminalSeen();

// Takes the terminal over. From the event loop, leaveCall() is called when the user switches away,
// and must give up the display before it returns; enterCall() after switching back. leaveCall()
// also runs when the process ends. Prints a failure, after which the program goes on as without a
// terminal.
void claimTerminal(void (*leaveCall)(), void (*enterCall)());
