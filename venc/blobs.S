/* What others make and the program only carries: loaded at start-up or written out as it is. */

  .section .rodata
  .balign 16
  .global confData          /* FPGA bitstream, 1396280 bytes */
confData:
  .incbin "fpga_bitstream.bin"

  .global miiKoData         /* kernel modules of the USB adapters, written to flash */
miiKoData:
  .incbin "mii.ko"
  .global r8152KoData
r8152KoData:
  .incbin "r8152.ko"
  .global usbserialKoData
usbserialKoData:
  .incbin "usbserial.ko"
  .global cp210xKoData
cp210xKoData:
  .incbin "cp210x.ko"

  .global dmp_memory        /* program of the motion sensor's own processor, 3062 bytes */
dmp_memory:
  .incbin "dmp_image.bin"

  .section .data            /* sensor tables: words of address << 8 | value; table B is changed by lens type */
  .balign 16
  .global reg20TableA       /* 238 words */
reg20TableA:
  .incbin "reg20_table_a.bin"
  .balign 16
  .global reg20TableB       /* 101 words */
reg20TableB:
  .incbin "reg20_table_b.bin"

  .section .note.GNU-stack, "", %progbits
