#include "sensor/hv_sync.h"

#include "sdk/hi_mpi_sys.h"

namespace {

constexpr HI_U32 CONTROL_ADDR = 0x113800A0;
constexpr HI_U32 CONTROL_SIZE = 4;
constexpr HI_U32 PERIODS_ADDR = 0x113800B0;
constexpr HI_U32 PERIODS_SIZE = 16;
static_assert(CONTROL_SIZE + PERIODS_SIZE == HV_SYNC_WORDS * sizeof(HI_U32));

}  // namespace

HI_U32 gau32HvSync[HV_SYNC_WORDS];

int IMX226_MasterHvSyncWrite() {
  void* control = HI_MPI_SYS_Mmap(CONTROL_ADDR, CONTROL_SIZE);
  if (control == nullptr) return -1;
  void* periods = HI_MPI_SYS_Mmap(PERIODS_ADDR, PERIODS_SIZE);
  if (periods == nullptr) {
    HI_MPI_SYS_Munmap(control, CONTROL_SIZE);
    return -1;
  }
  *static_cast<volatile HI_U32*>(control) = gau32HvSync[HV_SYNC_CONTROL];
  volatile HI_U32* words = static_cast<volatile HI_U32*>(periods);
  for (int word = HV_SYNC_VERT_PERIOD; word < HV_SYNC_WORDS; word++) *words++ = gau32HvSync[word];
  HI_MPI_SYS_Munmap(control, CONTROL_SIZE);
  HI_MPI_SYS_Munmap(periods, PERIODS_SIZE);
  return 0;
}
