#pragma once

/// The host's load and save states: how a server's settings travel through scene files and the clipboard.

#include "sdk/types.h"

enum LWIoMode : int { LWIO_BINARY = 0, LWIO_TEXT = 1 };

struct LWBlockIdent {
  LWID id;
  const char* token;
};

extern "C" {

/// Each write takes `writeData` first and the number of values last.
struct LWSaveState {
  int ioMode;
  void* writeData;
  void (*write)(void* writeData, const char* data, int count);
  void (*writeI1)(void* writeData, const char* values, int count);
  void (*writeI2)(void* writeData, const short* values, int count);
  void (*writeI4)(void* writeData, const int* values, int count);
  void (*writeU1)(void* writeData, const unsigned char* values, int count);
  void (*writeU2)(void* writeData, const unsigned short* values, int count);
  void (*writeU4)(void* writeData, const unsigned* values, int count);
  void (*writeFP)(void* writeData, const float* values, int count);
  void (*writeStr)(void* writeData, const char* text);
  void (*writeID)(void* writeData, const LWBlockIdent* idents, LWID id);
  void (*beginBlk)(void* writeData, const LWBlockIdent* ident, int leaf);
  void (*endBlk)(void* writeData);
  int (*depth)(void* writeData);
  void (*writeDP)(void* writeData, const double* values, int count);
};

/// Each read returns how many values it got; a read past the end leaves the rest alone.
struct LWLoadState {
  int ioMode;
  void* readData;
  int (*read)(void* readData, char* data, int count);
  int (*readI1)(void* readData, char* values, int count);
  int (*readI2)(void* readData, short* values, int count);
  int (*readI4)(void* readData, int* values, int count);
  int (*readU1)(void* readData, unsigned char* values, int count);
  int (*readU2)(void* readData, unsigned short* values, int count);
  int (*readU4)(void* readData, unsigned* values, int count);
  int (*readFP)(void* readData, float* values, int count);
  int (*readStr)(void* readData, char* text, int size);
  LWID (*readID)(void* readData, const LWBlockIdent* idents);
  LWID (*findBlk)(void* readData, const LWBlockIdent* idents);
  void (*endBlk)(void* readData);
  int (*depth)(void* readData);
  int (*readDP)(void* readData, double* values, int count);
};
}

static_assert(offsetof(LWSaveState, writeData) == 8 && offsetof(LWSaveState, writeU4) == 64);
static_assert(offsetof(LWSaveState, writeFP) == 72 && sizeof(LWSaveState) == 128);
static_assert(offsetof(LWLoadState, readData) == 8 && offsetof(LWLoadState, readU4) == 64);
static_assert(offsetof(LWLoadState, readFP) == 72 && sizeof(LWLoadState) == 128);
