// What can break in the camera array. Asked by the models of this folder.
#pragma once

#include "twin/faults/faults.h"

namespace twin {

struct ArrayFaults {
  explicit ArrayFaults(Faults& f)
      : message(f, "spi.message", "a transfer: fail=ERRNO, delay; detail: layer 0 to 3, 4 for a configuration stream"),
        reply(f, "spi.reply", "value=BYTE is read instead; detail: layer x 256 + register"),
        stream(f, "config.stream", "a transfer of the stream: any effect flips one bit, value=N bit N of the transfer"),
        done(f, "config.done", "any effect: DONE stays low after a good stream"),
        power(f, "array.power", "at a transfer, any effect: the array's supply dips, all of it is forgotten"),
        ready(f, "layer.ready", "a read of register 0x40: any effect, not ready; detail: layer"),
        conf(f, "layer.conf", "any effect: this capture's configuration never finishes; detail: layer"),
        save(f, "layer.save", "any effect: this capture's save never finishes; detail: layer"),
        rowErrors(f, "layer.row-errors", "value=N rows of this capture are broken, else 1; detail: layer"),
        chipId(f, "sensor.chip-id", "value=BYTE is read from 0x300B and 0x300C, else no answer; detail: camera"),
        temperature(f, "sensor.temperature", "value=BYTE is read from 0x4D13, else no answer; detail: camera"),
        average(f, "measurement.average", "value=0..255 is measured, else 0"),
        frameLost(f, "frame.lost", "any effect: the frame does not arrive; detail: camera x 6 + bracket"),
        frameLate(f, "frame.late", "delay=D: the frame takes so much longer; detail: camera x 6 + bracket"),
        frameDouble(f, "frame.double", "any effect: the frame is sent twice; detail: camera x 6 + bracket") {}

  FaultPoint message, reply, stream, done, power;
  FaultPoint ready, conf, save, rowErrors;
  FaultPoint chipId, temperature, average;
  FaultPoint frameLost, frameLate, frameDouble;
};

}  // namespace twin
