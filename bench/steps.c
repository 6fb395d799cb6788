/* What bench/vboard_bench.cpp measures on the virtual board and on the PC. Usage:
 *   steps sleep MILLISECONDS   sleeps again and again
 *   steps hand-over COUNT      two threads wake each other so many times
 *   steps calls FILE           says what looking at the clock and reading a file cost */
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

enum { ROUNDS = 200, CALLS = 500 };

static sem_t turns[2];
static int count;

static void *TakeTurns(void *own) {
  sem_t *other = own == &turns[0] ? &turns[1] : &turns[0];
  for (int i = 0; i < count; i += 2) {
    sem_wait(own);
    sem_post(other);
  }
  return NULL;
}

static void HandOver(void) {
  pthread_t thread;
  sem_init(&turns[0], 0, 1);
  sem_init(&turns[1], 0, 0);
  puts("hand-over: begin");
  if (pthread_create(&thread, NULL, TakeTurns, &turns[1]) != 0) exit(1);
  TakeTurns(&turns[0]);
  pthread_join(thread, NULL);
  puts("hand-over: end");
}

static void LookAtClock(int unused) {
  (void)unused;
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
}

static void ReadByte(int file) {
  char byte;
  if (pread(file, &byte, 1, 0) != 1) exit(1);
}

/* In processor time, which is nobody's but the caller's. */
static void Measure(const char *name, void (*call)(int file), int file) {
  long nanoseconds = 0;
  for (int round = 0; round < ROUNDS; ++round) {
    struct timespec begin, end;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &begin);
    for (int i = 0; i < CALLS; ++i) call(file);
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    nanoseconds += (end.tv_sec - begin.tv_sec) * 1000000000 + end.tv_nsec - begin.tv_nsec;
    usleep(1); /* who only looks and looks waits in the end */
  }
  printf("%s: %.3f us\n", name, (double)nanoseconds / 1000 / ROUNDS / CALLS);
}

int main(int words, char **word) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  if (words != 3) return 2;
  count = atoi(word[2]);
  if (strcmp(word[1], "sleep") == 0) {
    const struct timespec pause = {count / 1000, count % 1000 * 1000000L};
    for (;;) nanosleep(&pause, NULL);
  }
  if (strcmp(word[1], "hand-over") == 0) HandOver();
  if (strcmp(word[1], "calls") == 0) {
    const int file = open(word[2], O_RDONLY | O_CLOEXEC);
    if (file < 0) return 1;
    Measure("clock_gettime", LookAtClock, file);
    Measure("pread of a byte of a file", ReadByte, file);
    puts("calls: end");
  }
  return 0;
}
