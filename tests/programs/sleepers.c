/* Has as many threads sleep as it is told: sleepers NUMBER */
#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

static void *Sleep(void *unused) {
  sleep(9);
  return unused;
}

int main(int count, char **arguments) {
  const int number = count == 2 ? atoi(arguments[1]) : 0;
  for (int i = 0; i < number; ++i) {
    pthread_t thread;
    if (pthread_create(&thread, NULL, Sleep, NULL) != 0) return 1;
  }
  sleep(10);
  return 0;
}
