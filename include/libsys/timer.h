/* The process's one interval timer. It uses SIGALRM and the real-time interval timer of
 * setitimer(2), which nothing else may use while it runs: not alarm(), not a sleep built on it. */
#ifndef LIBSYS_TIMER_H
#define LIBSYS_TIMER_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Runs the handler after periodMs milliseconds and then every periodMs, in place of the handler
 * and the period of an earlier start; 0 stops the timer and leaves the handler installed. The
 * handler runs in signal context, on any thread, and may call only what is safe there;
 * interrupted system calls are restarted. timer and argument are not used. Returns 0, or -1 with
 * a message. */
LIBSYS_API int32_t TimerStart(void *timer, void (*handler)(int), void *argument, uint32_t periodMs);

/* Stops the timer and gives SIGALRM its default action again, which ends the process. Returns
 * 0; -1 with a message, and the default action even when it is the timer that does not stop. */
LIBSYS_API int32_t TimerStop(void);

#ifdef __cplusplus
}
#endif

#endif
