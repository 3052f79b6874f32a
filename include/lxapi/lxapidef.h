// Export macros and the small common types of the SDK's public interfaces.
#pragma once

#include <GenICam/GCApiDef.h>

#include <cstddef>
#include <cstdint>

#ifdef LXAPI_TL_EXPORTS
#define LXAPI_TL_API GC_EXPORT
#else
#define LXAPI_TL_API GC_IMPORT
#endif

#ifdef LXAPI_IP_EXPORTS
#define LXAPI_IP_API GC_EXPORT
#else
#define LXAPI_IP_API GC_IMPORT
#endif

// Interfaces cross the shared-library boundary by pointer and are cast with dynamic_cast, so their
// type information must be visible from every library.
#define LXAPI_INTERFACE GC_EXPORT

// Handle of a callback registration: the address of the registration entry.
typedef void* LX_CALLBACK_HANDLE;
