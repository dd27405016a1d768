/*
 * The graph transformer's client interface: the five exports that stand in for the
 * backend's own graph functions, the client configuration, the status values and the
 * logger registration. This is the one header a client includes.
 */
#ifndef VRX_GRAPH_TRANSFORMER_H
#define VRX_GRAPH_TRANSFORMER_H

#include <stdarg.h>

#include "VrxBackendRecords.h"

#if defined(VRX_GRAPH_TRANSFORMER_BUILDING)
#define VRX_GT_API __attribute__((visibility("default")))
#else
#define VRX_GT_API
#endif

#ifdef __cplusplus
#include <string>
#include <vector>

/* Which passes the client allows; read once by createGraph and never retained. */
struct GraphTransformerConfig {
  std::vector<std::string> allowedPasses;
  std::vector<std::string> additionalPassList;
  uint8_t dumpGraphs = 0;
};

extern "C" {
#else
typedef struct GraphTransformerConfig GraphTransformerConfig;
#endif

/* Status values that the transformer itself produces. Any other value is a backend's. */
enum {
  VRX_GT_SUCCESS = 0,
  /* unknown handle; null backend, context or graph handle; null tensor; no IR graph; dumps asked for */
  VRX_GT_ERROR_INVALID_HANDLE = 1100,
  /* runOnlyPasses: a name that is no pass */
  VRX_GT_ERROR_UNKNOWN_PASS = 1102,
  VRX_GT_ERROR_OP_CONFIG_INVALID = 3110,
  VRX_GT_ERROR_OP_UNSUPPORTED = 4005,
  VRX_GT_ERROR_TENSOR_EXISTS = 6004,
  /* node already in the graph; output tensor missing or of a kind that can't be written */
  VRX_GT_ERROR_BAD_NODE_OR_OUTPUT = 6005,
  /* input tensor missing, or a native input without producer */
  VRX_GT_ERROR_BAD_INPUT = 6007,
  VRX_GT_ERROR_UNSUPPORTED_TENSOR = 7004,
  VRX_GT_ERROR_UNSUPPORTED_DATA_FORMAT = 7005
};

/* Backend kinds: the seventh argument of createGraph. */
enum {
  VRX_GT_BACKEND_NXA = 1,
  VRX_GT_BACKEND_NXC = 2,
  VRX_GT_BACKEND_CPU = 3,
  VRX_GT_BACKEND_GPU = 4,
  VRX_GT_BACKEND_DSP = 5,
  VRX_GT_BACKEND_NXB = 6,
  VRX_GT_BACKEND_NXE = 7
};

/* Log levels of the transformer's messages. */
enum {
  VRX_GT_LOG_ERROR = 1,
  VRX_GT_LOG_INFO = 3,
  VRX_GT_LOG_VERBOSE = 4,
  VRX_GT_LOG_DEBUG = 5
};

/*
 * Receives one log line: a printf format and its arguments, the level and a time stamp
 * (monotonic, relative to the logger's registration, in units of 10 ns).
 */
typedef void (*VrxLogCallback)(const char* format, uint32_t level, uint64_t timestamp, va_list args);

VRX_GT_API Vrx_Status_t VrxGraphTransformer_createGraph(Vrx_BackendHandle_t backendHandle,
                                                        Vrx_ContextHandle_t contextHandle,
                                                        Vrx_GraphHandle_t graphHandle,
                                                        Vrx_LogHandle_t loggerHandle,
                                                        const char* graphName,
                                                        const VrxBackendFunctionTable* backendTable,
                                                        uint32_t backendKind,
                                                        const GraphTransformerConfig* config);

VRX_GT_API Vrx_Status_t VrxGraphTransformer_addGraphTensor(Vrx_GraphHandle_t graphHandle, Vrx_Tensor_t* tensor);

VRX_GT_API Vrx_Status_t VrxGraphTransformer_addNode(Vrx_GraphHandle_t graphHandle, Vrx_OpConfig_t opConfig);

VRX_GT_API Vrx_Status_t VrxGraphTransformer_finalizeGraph(Vrx_GraphHandle_t graphHandle,
                                                          void* finalizeArg1,
                                                          void* finalizeArg2,
                                                          const VrxBackendFunctionTable* backendTable);

VRX_GT_API Vrx_Status_t VrxGraphTransformer_free(void);

/*
 * Logger registry. A logger handle given to createGraph reaches the callback registered
 * under it; lines above maxLevel are dropped. Registering a handle again replaces its
 * logger. Both calls return 0; unregistering an unknown handle does nothing.
 */
VRX_GT_API Vrx_Status_t VrxGraphTransformer_registerLogger(Vrx_LogHandle_t loggerHandle,
                                                           VrxLogCallback callback,
                                                           uint32_t maxLevel);

VRX_GT_API Vrx_Status_t VrxGraphTransformer_unregisterLogger(Vrx_LogHandle_t loggerHandle);

/* ---- Extras: for clients and tools that want to see and steer the optimizer ---- */

/* The name of a data type value, "UNKNOWN" for a value that has none. */
VRX_GT_API const char* VrxGraphTransformer_dataTypeName(uint32_t dataType);

/*
 * The passes, by index in id order: their number, and the name of one (NULL past the end).
 * These are the names that allowedPasses and runOnlyPasses take.
 */
VRX_GT_API uint32_t VrxGraphTransformer_passCount(void);
VRX_GT_API const char* VrxGraphTransformer_passName(uint32_t index);

/*
 * Makes the graph's first finalizeGraph run exactly the named passes, in the order given (a
 * name may come more than once), instead of the backend's pipeline; the configuration's
 * allowedPasses doesn't apply to them. The statistics and clean-up that follow every
 * optimization still run. Call it between createGraph and the first finalizeGraph; a later
 * call replaces the list, and a count of 0 runs no pass. Returns 1100 for an unknown handle,
 * VRX_GT_ERROR_UNKNOWN_PASS (changing nothing) when a name is no pass.
 */
VRX_GT_API Vrx_Status_t VrxGraphTransformer_runOnlyPasses(Vrx_GraphHandle_t graphHandle,
                                                          const char* const* passNames,
                                                          uint32_t count);

/* What the optimization of a graph did. */
typedef struct {
  uint32_t optimized;                /* 1 once finalizeGraph has optimized the graph, else 0 */
  uint32_t numExecutedPasses;
  const char* const* executedPasses; /* the passes that changed the graph, in the order they ran */
  uint64_t macs;                     /* multiply-accumulates of the optimized graph */
  uint64_t params;                   /* parameters of the optimized graph */
} VrxGraphTransformer_OptimizationReport_t;

/*
 * Fills `report` for the graph. The names stay valid until the graph is optimized again or
 * freed. Returns 1100 for an unknown handle or a null report.
 */
VRX_GT_API Vrx_Status_t VrxGraphTransformer_getOptimizationReport(Vrx_GraphHandle_t graphHandle,
                                                                  VrxGraphTransformer_OptimizationReport_t* report);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* VRX_GRAPH_TRANSFORMER_H */
