// The two message handlers of the device node: written text becomes console lines, the four
// device-control commands change status, overall percent and items. They change the model and
// never draw; what they change shows at the next clock tick.
#pragma once

#include <sys/iofunc.h>
// iofunc first: it gives dispatch its control block types.
#include <sys/dispatch.h>

// I/O write handler. Returns EOK with the write count set to the whole request, or an error
// number: that of iofunc_write_verify, ENOSYS for a positioned or otherwise extended write, ENOMEM.
int consoleIoWrite(resmgr_context_t* context, io_write_t* message, RESMGR_OCB_T* ocb);

// I/O devctl handler. Returns the framework's result for common commands, _RESMGR_NPARTS(1) with a
// zeroed reply header for the console's four, EINVAL for a payload that they cannot be read from,
// ENOSYS for any other code. A refused command leaves the model as it was.
int consoleIoDevctl(resmgr_context_t* context, io_devctl_t* message, RESMGR_OCB_T* ocb);
