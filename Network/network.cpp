#include "libsys/network.h"

int32_t NetWorkGetDefaultAddress(const char *, char *, int32_t, char *, int32_t) {
  return -1;
}

int32_t NetWorkGetDefaultGateway(const char *, char *, int32_t) {
  return -1;
}
