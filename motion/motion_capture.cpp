// Motion-capture input at render time.
#include "motion/motion_capture.h"

extern "C" int amc_read_frame(Agent* agent, const char* path, int frame) {
  (void)agent;
  (void)path;
  (void)frame;
  return 0;
}
