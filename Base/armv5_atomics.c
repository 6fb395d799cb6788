/* Atomic words on processors that have no instructions for them: the kernel keeps code for it at
 * fixed addresses of every process. The compiler's library has these operations too, but in one
 * piece with forty others, which takes 4 KiB of a launcher. They are weak: a program that needs
 * one of the forty gets all of them from there. */
#define OPERATION __attribute__((weak, visibility("hidden")))

typedef int CompareExchange(unsigned int expected, unsigned int desired, volatile void *word);
static CompareExchange *const kCompareExchange = (CompareExchange *)0xffff0fc0; /* 0: exchanged */
typedef void Barrier(void);
static Barrier *const kBarrier = (Barrier *)0xffff0fa0;

OPERATION void __sync_synchronize(void) {
  kBarrier();
}

OPERATION unsigned int __sync_val_compare_and_swap_4(volatile void *word, unsigned int expected,
                                                     unsigned int desired) {
  for (;;) {
    const unsigned int found = *(volatile unsigned int *)word;
    if (found != expected || kCompareExchange(expected, desired, word) == 0) return found;
  }
}

OPERATION unsigned int __sync_add_and_fetch_4(volatile void *word, unsigned int summand) {
  for (;;) {
    const unsigned int found = *(volatile unsigned int *)word;
    if (kCompareExchange(found, found + summand, word) == 0) return found + summand;
  }
}

OPERATION unsigned int __sync_sub_and_fetch_4(volatile void *word, unsigned int subtrahend) {
  return __sync_add_and_fetch_4(word, 0 - subtrahend);
}
