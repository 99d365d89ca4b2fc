#include "cameras/multiview/multicam_flag.h"

bool bMulticamActive = false;
