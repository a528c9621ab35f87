// Ends the process in an orderly way on SIGINT, SIGTERM and SIGHUP: through exit() from the event
// loop, so that what was registered with atexit runs. SIGPIPE is ignored, a client that is gone is
// no reason to end. Handlers, because a mask would be inherited by the threads of graphics drivers.
#pragma once

// Once is enough; later calls do nothing. A signal that the parent had ignored stays ignored. False
// with errno.
bool installEndSignals();
