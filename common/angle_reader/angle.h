// The camera's tilt, from the motion sensor. One user at a time: the control thread at its start and for the 3 s in
// which the sensor settles; afterwards the snap thread during a shot, or the control thread outside one.
#pragma once

// Starts the sensor. Takes more than a second. Returns 0, or by the step that failed: -1 the chip, -2 its sensors,
// -3 FIFO, -4 rate, -5 the DMP's image, -6 mounting, -7 features, -8 packet rate, -9 the DMP's start.
int LumoInitAngle();

// Takes the oldest waiting packet, trying 10 times 5 ms apart.
//   vertexX  rotation about the camera's y axis (pitch), 1e-08 radian, within a quarter turn
//   vertexY  rotation about its x axis (roll), 1e-08 radian, within a half turn
// Signs are drawn in docs/architecture.md. Returns 0; -1 if no packet came, and then writes nothing.
int LumoReadAngle(int* vertexX, int* vertexY);
