// The nodes that resmgr_attach has made. They live until the process ends, in whatever way it calls
// exit().
#pragma once

// Takes all of them away: unmounts, removes what was made. Also runs at exit.
void detachNodes();
