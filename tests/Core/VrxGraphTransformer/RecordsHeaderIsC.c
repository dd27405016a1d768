/* The public header must compile as C11: clients in C use the same records. */
#include "VrxGraphTransformer.h"

uint32_t vrxCHeaderTensorSize(void) { return (uint32_t)sizeof(Vrx_Tensor_t); }
