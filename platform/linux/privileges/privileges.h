// What the process may do beyond its user's rights. A start takes much of that, and a console that
// serves little: who needs something of it later says so, and the rest is given up.
#pragma once

#include <string>

// `capability` (CAP_SYS_ADMIN and so on, of <linux/capability.h>) stays, if the process has it.
void keepCapability(int capability);

// Whether the process may use `capability` now.
bool hasCapability(int capability);

// Programs that are installed with rights of their own (fusermount3) still get them.
void keepPrivilegedPrograms();

// Files are made or removed in `folder` later. Keeps the right to pass over permissions where the
// owner's own do not let it get there and write; also where that cannot be seen.
void keepAccessTo(const std::string& folder);

// Gives up every other capability for good, for this thread, the threads that it starts and the
// programs that it runs; no program that these run gets more rights than they have. Prints one line
// if that fails.
void dropPrivileges();
