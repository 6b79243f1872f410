// Answers that are cut out of files. Each returns 0 after a full answer, 404 after an error answer, -1 when a send
// failed (nothing further is sent then). The file is closed in every case.
#pragma once

#include "common/control_signals.h"

// The whole shot file, its JPEGs brought into index order. With onlyPreview the full pictures are cut to 1,024 bytes
// each and the rest of the body is filled from the file, so that its length stays the file's.
int serve_file(int client, const char* filename, int onlyPreview);
int serve_thumb(int client, const char* filename);       // the thumbnail of a shot file
int serve_parameters(int client, const char* filename);  // its 256-byte record
int serve_single(int client, const char* filename);      // any file as a JPEG

// Keeps a name out of the list of shots until the next start. Names of 32 characters and more, and names past the
// 512th, are dropped silently. HTTP thread of the control port only.
void AddErrFile(ControlSignals* ctrlSigs, const char* mainName);
