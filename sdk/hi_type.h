/* The plain types that every call of the media SDK speaks in. Our own declarations: what this system uses, no more. */
#ifndef LUMORA_SDK_HI_TYPE_H
#define LUMORA_SDK_HI_TYPE_H

#include <stdint.h>

typedef uint8_t HI_U8;
typedef uint16_t HI_U16;
typedef uint32_t HI_U32;
typedef uint64_t HI_U64;
typedef int16_t HI_S16;
typedef int32_t HI_S32;
typedef int64_t HI_S64;
typedef char HI_CHAR;
typedef float HI_FLOAT;

typedef enum { HI_FALSE = 0, HI_TRUE = 1 } HI_BOOL;

/* Every HI_MPI_* call returns HI_SUCCESS, or an error code: 0xA0 in the top byte, then unit, level and reason. */
#define HI_SUCCESS 0
#define HI_FAILURE (-1)

#endif
