#include "venc/quality_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sdk/hi_mpi_isp.h"

void fun() {
  FILE* file = fopen("fixfile.bin", "r");
  if (file == nullptr) {
    printf("fixfile.bin nonexist!!!\n");
    return;
  }
  fseek(file, 0, SEEK_END);
  const long size = ftell(file);
  fseek(file, 0, SEEK_SET);

  HI_U8* buffer = size < 0 ? nullptr : static_cast<HI_U8*>(malloc(static_cast<size_t>(size)));
  if (buffer == nullptr) {
    printf("malloc error\n");
    fclose(file);
    return;
  }
  memset(buffer, 0, static_cast<size_t>(size));
  const size_t got = fread(buffer, 1, static_cast<size_t>(size), file);
  fclose(file);
  if (got == 0) {
    printf("read erro\n");
  } else {
    const HI_S32 s32Ret = HI_PQ_BIN_ParseBinData(buffer, static_cast<HI_U32>(size));
    if (s32Ret != HI_SUCCESS) printf("HI_PQ_BIN_ParseBinData error! errno(0x%x)\n", static_cast<unsigned>(s32Ret));
  }
  free(buffer);
}
