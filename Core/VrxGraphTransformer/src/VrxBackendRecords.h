/*
 * Records that pass between a client, the graph transformer and a backend, and the
 * table of backend functions. This is a binary interface: sizes and byte positions
 * hold exactly on 64-bit little-endian targets and are checked at compile time below.
 * The header is plain C11 so that clients in C can use it.
 */
#ifndef VRX_BACKEND_RECORDS_H
#define VRX_BACKEND_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define VRX_ALIGN8 alignas(8)
extern "C" {
#else
#define VRX_ALIGN8 _Alignas(8)
#endif

/* Every backend function returns a 64-bit status, 0 for success. */
typedef uint64_t Vrx_Status_t;

typedef void* Vrx_BackendHandle_t;
typedef void* Vrx_ContextHandle_t;
typedef void* Vrx_GraphHandle_t;
typedef uint64_t Vrx_LogHandle_t;

/* Tensor types (Vrx_Tensor_t.type). */
enum {
  VRX_TENSORTYPE_APP_WRITE = 0,
  VRX_TENSORTYPE_APP_READ = 1,
  VRX_TENSORTYPE_APP_READWRITE = 2,
  VRX_TENSORTYPE_NATIVE = 3,
  VRX_TENSORTYPE_STATIC = 4,
  VRX_TENSORTYPE_NULL = 5,
  VRX_TENSORTYPE_UPDATEABLE_STATIC = 6,
  VRX_TENSORTYPE_UPDATEABLE_NATIVE = 7,
  VRX_TENSORTYPE_UPDATEABLE_APP_WRITE = 8,
  VRX_TENSORTYPE_UPDATEABLE_APP_READ = 9,
  VRX_TENSORTYPE_UPDATEABLE_APP_READWRITE = 10,
  VRX_TENSORTYPE_UNDEFINED = 0x7fffffff
};

/* Tensor data formats (Vrx_Tensor_t.dataFormat). */
enum {
  VRX_TENSOR_DATA_FORMAT_DENSE = 0,
  VRX_TENSOR_DATA_FORMAT_SPARSE = 1,
  VRX_TENSOR_DATA_FORMAT_OTHER = 2
};

/* Data types. */
enum {
  VRX_DATATYPE_INT_2 = 2,
  VRX_DATATYPE_INT_4 = 4,
  VRX_DATATYPE_INT_8 = 8,
  VRX_DATATYPE_INT_16 = 22,
  VRX_DATATYPE_INT_32 = 50,
  VRX_DATATYPE_INT_64 = 100,
  VRX_DATATYPE_UINT_2 = 258,
  VRX_DATATYPE_UINT_4 = 260,
  VRX_DATATYPE_UINT_8 = 264,
  VRX_DATATYPE_UINT_16 = 278,
  VRX_DATATYPE_UINT_32 = 306,
  VRX_DATATYPE_UINT_64 = 356,
  VRX_DATATYPE_FLOAT_4 = 516,
  VRX_DATATYPE_FLOAT_8 = 520,
  VRX_DATATYPE_FLOAT_16 = 534,
  VRX_DATATYPE_BFLOAT_16 = 550,
  VRX_DATATYPE_FLOAT_32 = 562,
  VRX_DATATYPE_FLOAT_64 = 612,
  VRX_DATATYPE_SFIXED_POINT_2 = 770,
  VRX_DATATYPE_SFIXED_POINT_4 = 772,
  VRX_DATATYPE_SFIXED_POINT_8 = 776,
  VRX_DATATYPE_SFIXED_POINT_16 = 790,
  VRX_DATATYPE_SFIXED_POINT_32 = 818,
  VRX_DATATYPE_UFIXED_POINT_2 = 1026,
  VRX_DATATYPE_UFIXED_POINT_4 = 1028,
  VRX_DATATYPE_UFIXED_POINT_8 = 1032,
  VRX_DATATYPE_UFIXED_POINT_16 = 1046,
  VRX_DATATYPE_UFIXED_POINT_32 = 1074,
  VRX_DATATYPE_BOOL_8 = 1288,
  VRX_DATATYPE_STRING = 1544,
  VRX_DATATYPE_UNDEFINED = 0x7fffffff
};

/* Quantization: definition and encodings. */
enum {
  VRX_DEFINITION_DEFINED = 1,
  VRX_DEFINITION_UNDEFINED = 0x7fffffff
};

enum {
  VRX_QUANTIZATION_ENCODING_SCALE_OFFSET = 0,
  VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET = 1,
  VRX_QUANTIZATION_ENCODING_BW_SCALE_OFFSET = 2,
  VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET = 3,
  VRX_QUANTIZATION_ENCODING_BLOCK = 4,
  VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION = 5,
  VRX_QUANTIZATION_ENCODING_GROUPED_BW = 6,
  VRX_QUANTIZATION_ENCODING_FLOAT_BLOCK = 7,
  VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET_MAPPED = 8,
  VRX_QUANTIZATION_ENCODING_BW_BLOCK = 11,
  VRX_QUANTIZATION_ENCODING_MAPPED_VECTOR = 12,
  VRX_QUANTIZATION_ENCODING_ARRAY = 13,
  VRX_QUANTIZATION_ENCODING_UNDEFINED = 0x7fffffff
};

/* Parameter kinds (Vrx_Param_t.paramType). */
enum {
  VRX_PARAMTYPE_SCALAR = 0,
  VRX_PARAMTYPE_TENSOR = 1
};

/* Sparse layouts (Vrx_SparseParams_t.layout). */
enum {
  VRX_SPARSE_LAYOUT_HYBRID_COO = 0,
  VRX_SPARSE_LAYOUT_UNDEFINED = 0x7fffffff
};

typedef struct {
  float scale;
  int32_t offset;
} Vrx_ScaleOffset_t;

/* A scale-offset pair whose offset is a float (block encodings 7 and 11). */
typedef struct {
  float scale;
  float offset;
} Vrx_FloatScaleOffset_t;

typedef struct {
  int32_t axis;
  uint32_t numScaleOffsets;
  Vrx_ScaleOffset_t* scaleOffset;
} Vrx_AxisScaleOffset_t;

typedef struct {
  uint32_t bitwidth;
  float scale;
  int32_t offset;
} Vrx_BwScaleOffset_t;

typedef struct {
  uint32_t bitwidth;
  int32_t axis;
  uint32_t numElements;
  float* scales;
  int32_t* offsets;
} Vrx_BwAxisScaleOffset_t;

/* Encoding 4 (scaleOffset) and 7 (floatScaleOffset): pairs per block. */
typedef struct {
  uint32_t* blockSize;
  union {
    Vrx_ScaleOffset_t* scaleOffset;
    Vrx_FloatScaleOffset_t* floatScaleOffset;
  };
} Vrx_BlockEncoding_t;

/* Encoding 11: block quantization with a bitwidth and float pairs. */
typedef struct {
  uint32_t bitwidth;
  uint32_t* blockSize;
  Vrx_FloatScaleOffset_t* scaleOffset;
} Vrx_BwBlockEncoding_t;

enum {
  VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_8 = 0,
  VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_16 = 1
};

typedef struct {
  uint32_t axis;
  Vrx_ScaleOffset_t* scaleOffsets;
  uint32_t numBlocksPerAxis;
  uint8_t blockScaleBitwidth;
  uint32_t blockScaleStorageType;
  union {
    uint8_t* blockScales8;
    uint16_t* blockScales16;
  };
} Vrx_BlockwiseExpansion_t;

typedef struct {
  uint32_t bitwidth;
  int32_t axis;
  uint32_t numElements;
  float* scales;
  int32_t* offsets;
  uint32_t groupParam0;
  uint32_t groupParam1;
  uint8_t groupFlag0;
  uint8_t groupFlag1;
  uint8_t groupFlag2;
} Vrx_GroupedBwEncoding_t;

typedef struct {
  uint32_t bitwidth;
  int32_t axis;
  uint32_t mappedValue;
  uint32_t numElements;
  float* scales;
  int32_t* offsets; /* may be null: all offsets zero */
} Vrx_BwAxisScaleOffsetMapped_t;

/*
 * Encoding 12. The library only carries these fields. `values` holds `numValues`
 * 32-bit entries; `table` holds `numTableEntries` entries of `tableEntryBits` bits
 * (8 or 32).
 */
typedef struct {
  uint32_t mappingKind;
  uint32_t numValues;
  uint32_t* values;
  uint32_t tableEntryBits;
  uint32_t numTableEntries;
  void* table;
} Vrx_MappedVectorEncoding_t;

struct Vrx_Tensor;
struct Vrx_QuantizeParams;

typedef struct {
  uint32_t arrayType;
  uint32_t numElements;
  struct Vrx_Tensor* associatedTensor;
  struct Vrx_QuantizeParams** elements;
} Vrx_ArrayOf_t;

typedef struct Vrx_QuantizeParams {
  uint32_t encodingDefinition;
  uint32_t quantizationEncoding;
  union {
    Vrx_ScaleOffset_t scaleOffsetEncoding;                 /* 0 */
    Vrx_AxisScaleOffset_t axisScaleOffsetEncoding;         /* 1 */
    Vrx_BwScaleOffset_t bwScaleOffsetEncoding;             /* 2 */
    Vrx_BwAxisScaleOffset_t bwAxisScaleOffsetEncoding;     /* 3 */
    Vrx_BlockEncoding_t blockEncoding;                     /* 4 and 7 */
    Vrx_BlockwiseExpansion_t* blockwiseExpansion;          /* 5 */
    Vrx_GroupedBwEncoding_t* groupedBwEncoding;            /* 6 */
    Vrx_BwAxisScaleOffsetMapped_t* bwAxisScaleOffsetMapped; /* 8 */
    Vrx_BwBlockEncoding_t bwBlockEncoding;                 /* 11 */
    Vrx_MappedVectorEncoding_t* mappedVectorEncoding;      /* 12 */
    Vrx_ArrayOf_t* arrayOf;                                /* 13 */
    uint8_t raw[32];
  };
} Vrx_QuantizeParams_t;

typedef struct {
  void* data;
  uint32_t dataSize;
} Vrx_ClientBuffer_t;

typedef struct {
  uint32_t layout;
  uint32_t numSpecifiedElements;
  uint32_t numSparseDimensions;
} Vrx_SparseParams_t;

/* Versions 1 and 2 share this layout; fields from isDynamicDimensions on are version 2 only. */
typedef struct Vrx_Tensor {
  uint32_t version;
  VRX_ALIGN8 uint32_t id;
  const char* name;
  uint32_t type;
  uint32_t dataFormat;
  uint32_t dataType;
  Vrx_QuantizeParams_t quantizeParams;
  uint32_t rank;
  uint32_t* dimensions;
  uint32_t memType;
  Vrx_ClientBuffer_t clientBuf;
  uint8_t* isDynamicDimensions;
  Vrx_SparseParams_t sparseParams;
} Vrx_Tensor_t;

typedef struct {
  uint32_t dataType;
  union {
    uint8_t bool8Value;
    int8_t int8Value;
    uint8_t uint8Value;
    int16_t int16Value;
    uint16_t uint16Value;
    int32_t int32Value;
    uint32_t uint32Value;
    int64_t int64Value;
    uint64_t uint64Value;
    float floatValue;
    double doubleValue;
    const char* stringValue;
  } value;
} Vrx_Scalar_t;

typedef struct {
  uint32_t paramType;
  const char* name;
  union {
    Vrx_Scalar_t scalar;
    Vrx_Tensor_t tensor;
  };
} Vrx_Param_t;

typedef struct {
  uint32_t version;
  const char* name;
  const char* packageName;
  const char* typeName;
  uint32_t numOfParams;
  Vrx_Param_t* params;
  uint32_t numOfInputs;
  Vrx_Tensor_t* inputTensors;
  uint32_t numOfOutputs;
  Vrx_Tensor_t* outputTensors;
} Vrx_OpConfig_t;

typedef Vrx_Status_t (*VrxValidateOpConfigFn)(Vrx_BackendHandle_t backend, Vrx_OpConfig_t opConfig);
typedef Vrx_Status_t (*VrxAddNodeFn)(Vrx_GraphHandle_t graph, Vrx_OpConfig_t opConfig);
typedef Vrx_Status_t (*VrxGraphFinalizeFn)(Vrx_GraphHandle_t graph, void* finalizeArg1, void* finalizeArg2);
typedef Vrx_Status_t (*VrxCreateContextTensorFn)(Vrx_ContextHandle_t context, Vrx_Tensor_t* tensor);
typedef Vrx_Status_t (*VrxCreateGraphTensorFn)(Vrx_GraphHandle_t graph, Vrx_Tensor_t* tensor);

/*
 * The backend's function table, 640 bytes. The first 40 bytes and every entry that is
 * not named are the backend's own; the graph transformer never reads them.
 */
typedef struct {
  uint8_t opaqueHeader[40];
  void* reserved0[7];
  VrxValidateOpConfigFn validateOpConfig;
  void* reserved1[10];
  VrxAddNodeFn addNode;
  VrxGraphFinalizeFn graphFinalize;
  void* reserved2[3];
  VrxCreateContextTensorFn createContextTensor;
  VrxCreateGraphTensorFn createGraphTensor;
  void* reserved3[50];
} VrxBackendFunctionTable;

#ifdef __cplusplus
} /* extern "C" */
#define VRX_RECORD_ASSERT static_assert
#else
#define VRX_RECORD_ASSERT _Static_assert
#endif

/* The binary layout of every record. A slip here must not compile. */
VRX_RECORD_ASSERT(sizeof(void*) == 8, "the backend records assume 64-bit pointers");
VRX_RECORD_ASSERT(sizeof(Vrx_ScaleOffset_t) == 8, "Vrx_ScaleOffset_t");

VRX_RECORD_ASSERT(sizeof(Vrx_QuantizeParams_t) == 40, "Vrx_QuantizeParams_t size");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, encodingDefinition) == 0, "encodingDefinition");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, quantizationEncoding) == 4, "quantizationEncoding");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, scaleOffsetEncoding.scale) == 8, "encoding 0 scale");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, scaleOffsetEncoding.offset) == 12, "encoding 0 offset");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, axisScaleOffsetEncoding.axis) == 8, "encoding 1 axis");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, axisScaleOffsetEncoding.numScaleOffsets) == 12, "encoding 1 count");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, axisScaleOffsetEncoding.scaleOffset) == 16, "encoding 1 pairs");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwScaleOffsetEncoding.bitwidth) == 8, "encoding 2 bitwidth");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwScaleOffsetEncoding.scale) == 12, "encoding 2 scale");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwScaleOffsetEncoding.offset) == 16, "encoding 2 offset");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwAxisScaleOffsetEncoding.bitwidth) == 8, "encoding 3 bitwidth");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwAxisScaleOffsetEncoding.axis) == 12, "encoding 3 axis");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwAxisScaleOffsetEncoding.numElements) == 16, "encoding 3 count");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwAxisScaleOffsetEncoding.scales) == 24, "encoding 3 scales");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwAxisScaleOffsetEncoding.offsets) == 32, "encoding 3 offsets");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, blockEncoding.blockSize) == 8, "encoding 4 block sizes");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, blockEncoding.scaleOffset) == 16, "encoding 4 pairs");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, blockwiseExpansion) == 8, "encoding 5 record");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, groupedBwEncoding) == 8, "encoding 6 record");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwAxisScaleOffsetMapped) == 8, "encoding 8 record");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwBlockEncoding.bitwidth) == 8, "encoding 11 bitwidth");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwBlockEncoding.blockSize) == 16, "encoding 11 block sizes");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, bwBlockEncoding.scaleOffset) == 24, "encoding 11 pairs");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, mappedVectorEncoding) == 8, "encoding 12 record");
VRX_RECORD_ASSERT(offsetof(Vrx_QuantizeParams_t, arrayOf) == 8, "encoding 13 record");

VRX_RECORD_ASSERT(sizeof(Vrx_BlockwiseExpansion_t) == 40, "Vrx_BlockwiseExpansion_t size");
VRX_RECORD_ASSERT(offsetof(Vrx_BlockwiseExpansion_t, axis) == 0, "expansion axis");
VRX_RECORD_ASSERT(offsetof(Vrx_BlockwiseExpansion_t, scaleOffsets) == 8, "expansion pairs");
VRX_RECORD_ASSERT(offsetof(Vrx_BlockwiseExpansion_t, numBlocksPerAxis) == 16, "expansion blocks");
VRX_RECORD_ASSERT(offsetof(Vrx_BlockwiseExpansion_t, blockScaleBitwidth) == 20, "expansion scale bitwidth");
VRX_RECORD_ASSERT(offsetof(Vrx_BlockwiseExpansion_t, blockScaleStorageType) == 24, "expansion storage type");
VRX_RECORD_ASSERT(offsetof(Vrx_BlockwiseExpansion_t, blockScales8) == 32, "expansion scales");

VRX_RECORD_ASSERT(sizeof(Vrx_GroupedBwEncoding_t) == 48, "Vrx_GroupedBwEncoding_t size");
VRX_RECORD_ASSERT(offsetof(Vrx_GroupedBwEncoding_t, axis) == 4, "grouped axis");
VRX_RECORD_ASSERT(offsetof(Vrx_GroupedBwEncoding_t, numElements) == 8, "grouped count");
VRX_RECORD_ASSERT(offsetof(Vrx_GroupedBwEncoding_t, scales) == 16, "grouped scales");
VRX_RECORD_ASSERT(offsetof(Vrx_GroupedBwEncoding_t, offsets) == 24, "grouped offsets");
VRX_RECORD_ASSERT(offsetof(Vrx_GroupedBwEncoding_t, groupParam0) == 32, "grouped first parameter");
VRX_RECORD_ASSERT(offsetof(Vrx_GroupedBwEncoding_t, groupParam1) == 36, "grouped second parameter");
VRX_RECORD_ASSERT(offsetof(Vrx_GroupedBwEncoding_t, groupFlag0) == 40, "grouped flags");
VRX_RECORD_ASSERT(offsetof(Vrx_GroupedBwEncoding_t, groupFlag2) == 42, "grouped last flag");

VRX_RECORD_ASSERT(sizeof(Vrx_BwAxisScaleOffsetMapped_t) == 32, "Vrx_BwAxisScaleOffsetMapped_t size");
VRX_RECORD_ASSERT(offsetof(Vrx_BwAxisScaleOffsetMapped_t, axis) == 4, "mapped axis");
VRX_RECORD_ASSERT(offsetof(Vrx_BwAxisScaleOffsetMapped_t, mappedValue) == 8, "mapped value");
VRX_RECORD_ASSERT(offsetof(Vrx_BwAxisScaleOffsetMapped_t, numElements) == 12, "mapped count");
VRX_RECORD_ASSERT(offsetof(Vrx_BwAxisScaleOffsetMapped_t, scales) == 16, "mapped scales");
VRX_RECORD_ASSERT(offsetof(Vrx_BwAxisScaleOffsetMapped_t, offsets) == 24, "mapped offsets");

VRX_RECORD_ASSERT(sizeof(Vrx_MappedVectorEncoding_t) == 32, "Vrx_MappedVectorEncoding_t size");
VRX_RECORD_ASSERT(offsetof(Vrx_MappedVectorEncoding_t, numValues) == 4, "mapped vector count");
VRX_RECORD_ASSERT(offsetof(Vrx_MappedVectorEncoding_t, values) == 8, "mapped vector values");
VRX_RECORD_ASSERT(offsetof(Vrx_MappedVectorEncoding_t, tableEntryBits) == 16, "mapped vector third value");
VRX_RECORD_ASSERT(offsetof(Vrx_MappedVectorEncoding_t, numTableEntries) == 20, "mapped vector fourth value");
VRX_RECORD_ASSERT(offsetof(Vrx_MappedVectorEncoding_t, table) == 24, "mapped vector table");

VRX_RECORD_ASSERT(sizeof(Vrx_ArrayOf_t) == 24, "Vrx_ArrayOf_t size");
VRX_RECORD_ASSERT(offsetof(Vrx_ArrayOf_t, numElements) == 4, "array count");
VRX_RECORD_ASSERT(offsetof(Vrx_ArrayOf_t, associatedTensor) == 8, "array tensor");
VRX_RECORD_ASSERT(offsetof(Vrx_ArrayOf_t, elements) == 16, "array elements");

VRX_RECORD_ASSERT(sizeof(Vrx_Tensor_t) == 144, "Vrx_Tensor_t size");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, version) == 0, "tensor version");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, id) == 8, "tensor id");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, name) == 16, "tensor name");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, type) == 24, "tensor type");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, dataFormat) == 28, "tensor data format");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, dataType) == 32, "tensor data type");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, quantizeParams) == 40, "tensor quantization");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, rank) == 80, "tensor rank");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, dimensions) == 88, "tensor dimensions");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, memType) == 96, "tensor memType");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, clientBuf.data) == 104, "tensor data");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, clientBuf.dataSize) == 112, "tensor data size");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, isDynamicDimensions) == 120, "tensor dynamic flags");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, sparseParams.layout) == 128, "tensor sparse layout");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, sparseParams.numSpecifiedElements) == 132, "tensor sparse elements");
VRX_RECORD_ASSERT(offsetof(Vrx_Tensor_t, sparseParams.numSparseDimensions) == 136, "tensor sparse dimensions");

VRX_RECORD_ASSERT(sizeof(Vrx_Param_t) == 160, "Vrx_Param_t size");
VRX_RECORD_ASSERT(offsetof(Vrx_Param_t, paramType) == 0, "param type");
VRX_RECORD_ASSERT(offsetof(Vrx_Param_t, name) == 8, "param name");
VRX_RECORD_ASSERT(offsetof(Vrx_Param_t, scalar.dataType) == 16, "param scalar data type");
VRX_RECORD_ASSERT(offsetof(Vrx_Param_t, scalar.value) == 24, "param scalar value");
VRX_RECORD_ASSERT(offsetof(Vrx_Param_t, tensor) == 16, "param tensor");

VRX_RECORD_ASSERT(sizeof(Vrx_OpConfig_t) == 80, "Vrx_OpConfig_t size");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, version) == 0, "op version");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, name) == 8, "op name");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, packageName) == 16, "op package");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, typeName) == 24, "op type");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, numOfParams) == 32, "op param count");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, params) == 40, "op params");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, numOfInputs) == 48, "op input count");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, inputTensors) == 56, "op inputs");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, numOfOutputs) == 64, "op output count");
VRX_RECORD_ASSERT(offsetof(Vrx_OpConfig_t, outputTensors) == 72, "op outputs");

VRX_RECORD_ASSERT(sizeof(VrxBackendFunctionTable) == 640, "VrxBackendFunctionTable size");
VRX_RECORD_ASSERT(offsetof(VrxBackendFunctionTable, validateOpConfig) == 96, "validateOpConfig entry");
VRX_RECORD_ASSERT(offsetof(VrxBackendFunctionTable, addNode) == 184, "addNode entry");
VRX_RECORD_ASSERT(offsetof(VrxBackendFunctionTable, graphFinalize) == 192, "graphFinalize entry");
VRX_RECORD_ASSERT(offsetof(VrxBackendFunctionTable, createContextTensor) == 224, "createContextTensor entry");
VRX_RECORD_ASSERT(offsetof(VrxBackendFunctionTable, createGraphTensor) == 232, "createGraphTensor entry");

#undef VRX_RECORD_ASSERT

#endif /* VRX_BACKEND_RECORDS_H */
