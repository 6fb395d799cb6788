// Calls that would wait by the PC's clock and that nobody of the board's programs has needed so
// far.
#include <aio.h>
#include <errno.h>
#include <mqueue.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <threads.h>

#include "vboard/board.h"
#include "vboard/intercept/intercept.h"

int vboard::Refuse(const char *call) {
  Event("%s: not served on the board", call);
  errno = ENOSYS;
  return -1;
}

namespace {

bool IsTimed(const timespec *time) {
  return time != nullptr && vboard::Attached() && vboard::IsKept();
}

}  // namespace

// Without a time, the last argument, they do not look at a clock.
#define NOT_SERVED(type, name, parameters, time, ...)   \
  type name parameters {                                \
    NEXT(name);                                         \
    if (!IsTimed(time)) return next(__VA_ARGS__, time); \
    return vboard::Refuse(#name);                       \
  }

extern "C" {

NOT_SERVED(int, mq_timedsend,
           (mqd_t queue, const char *data, size_t length, unsigned priority, const timespec *end),
           end, queue, data, length, priority)
NOT_SERVED(ssize_t, mq_timedreceive,
           (mqd_t queue, char *data, size_t length, unsigned *priority, const timespec *end), end,
           queue, data, length, priority)
NOT_SERVED(int, semtimedop, (int set, sembuf *operations, size_t count, const timespec *timeout),
           timeout, set, operations, count)
NOT_SERVED(int, aio_suspend, (const aiocb *const list[], int count, const timespec *timeout),
           timeout, list, count)
NOT_SERVED(int, aio_suspend64, (const aiocb64 *const list[], int count, const timespec *timeout),
           timeout, list, count)
NOT_SERVED(int, recvmmsg, (int fd, mmsghdr *messages, unsigned count, int flags, timespec *timeout),
           timeout, fd, messages, count, flags)

// C11's threads, which the C library makes and has wait by itself.
int thrd_create(thrd_t *thread, thrd_start_t body, void *argument) {
  NEXT(thrd_create);
  if (!vboard::Attached() || !vboard::IsKept()) return next(thread, body, argument);
  vboard::Refuse("thrd_create");
  return thrd_error;
}

int cnd_timedwait(cnd_t *condition, mtx_t *mutex, const timespec *end) {
  NEXT(cnd_timedwait);
  if (!IsTimed(end)) return next(condition, mutex, end);
  vboard::Refuse("cnd_timedwait");
  return thrd_error;
}

int mtx_timedlock(mtx_t *mutex, const timespec *end) {
  NEXT(mtx_timedlock);
  if (!IsTimed(end)) return next(mutex, end);
  vboard::Refuse("mtx_timedlock");
  return thrd_error;
}

}  // extern "C"
