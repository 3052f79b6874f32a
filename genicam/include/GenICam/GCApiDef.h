// Export macros shared by the GenICam stand-in libraries (GCBase, GenApi).
#pragma once

#if defined(_WIN32)
#define GC_EXPORT __declspec(dllexport)
#define GC_IMPORT __declspec(dllimport)
#else
#define GC_EXPORT __attribute__((visibility("default")))
#define GC_IMPORT __attribute__((visibility("default")))
#endif

#ifdef GCBASE_EXPORTS
#define GCBASE_API GC_EXPORT
#else
#define GCBASE_API GC_IMPORT
#endif

#ifdef GENAPI_EXPORTS
#define GENAPI_API GC_EXPORT
#else
#define GENAPI_API GC_IMPORT
#endif
