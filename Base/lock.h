// Holds a mutex while it is alive.
#pragma once

#include <pthread.h>

namespace libsys::base {

class Lock {
 public:
  explicit Lock(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  Lock(const Lock &) = delete;
  Lock &operator=(const Lock &) = delete;
  ~Lock() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t &mutex_;
};

}  // namespace libsys::base
