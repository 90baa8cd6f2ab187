// Driver update and driver version: the implementation routines behind the
// native methods updateDriver and iSCSIGetDriverVersion.
#ifndef DVH_DRIVER_UPDATE_H
#define DVH_DRIVER_UPDATE_H

#include <cstdint>

#include "sdm/sdm_api.h"

// The Status records the routines return: one per kind, made on first use
// (CoreZMalloc) and kept until the library is unloaded.
extern Status* g_ptrRpcUpdateDriverStatusResult;
extern Status* g_ptrRpcGetDriverVersionStatusResult;

// Installs a driver from `dirpath` under the control value `iControl`; the
// result (iStatus 0 on success, a message in acStatus) is the shared record,
// or null when it could not be made.
Status* updateDriverImplementation(const char* dirpath, int32_t iControl);
// The version of the driver file the request names, in acStatus of the
// shared record (null when it could not be made).
Status* getDriverVersionImplementation(const DriverVersionRequest* request);

#endif  // DVH_DRIVER_UPDATE_H
