/* The chip maker's media SDK, as far as this system calls it: our own declarations, one header a unit. */
#ifndef LUMORA_SDK_HI_MPI_H
#define LUMORA_SDK_HI_MPI_H

#include "sdk/hi_mipi.h"
#include "sdk/hi_mpi_isp.h"
#include "sdk/hi_mpi_sensor.h"
#include "sdk/hi_mpi_sys.h"
#include "sdk/hi_mpi_vb.h"
#include "sdk/hi_mpi_venc.h"
#include "sdk/hi_mpi_vi.h"
#include "sdk/hi_mpi_vpss.h"

#endif
