// Timers of programs on the board, those that are descriptors and those that send a signal.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <thread>

#include "tests/support/board_test.h"

namespace {

using testing::ElementsAre;

class TimerTest : public test::BoardTest {
 protected:
  void SetUp() override { UseBoard(test::SmallBoard(4, 0)); }
};

timespec Later(int seconds) {
  timespec time = {};
  clock_gettime(CLOCK_REALTIME, &time);
  time.tv_sec += seconds;
  return time;
}

// So many expirations of a descriptor's timer; -1: none, with errno set.
int Expirations(int fd) {
  uint64_t count = 0;
  return read(fd, &count, sizeof count) == sizeof count ? static_cast<int>(count) : -1;
}

constexpr itimerspec Every(time_t seconds) {
  return {{seconds, 0}, {seconds, 0}};
}
constexpr itimerspec Once(time_t seconds) {
  return {{0, 0}, {seconds, 0}};
}

// A timer of a descriptor, started.
class Descriptor {
 public:
  explicit Descriptor(const itimerspec &setting, clockid_t clock = CLOCK_MONOTONIC, int flags = 0)
      : fd_(timerfd_create(clock, TFD_CLOEXEC)) {
    EXPECT_EQ(0, timerfd_settime(fd_, flags, &setting, nullptr));
  }
  ~Descriptor() { close(fd_); }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  operator int() const { return fd_; }

 private:
  int fd_;
};

// A timer that sends a signal, which this thread waits for, started.
class SignalTimer {
 public:
  SignalTimer(sigevent *event, const itimerspec &setting, clockid_t clock = CLOCK_MONOTONIC,
              int flags = 0) {
    sigemptyset(&set_);
    sigaddset(&set_, event != nullptr ? event->sigev_signo : SIGALRM);
    pthread_sigmask(SIG_BLOCK, &set_, &before_);
    EXPECT_EQ(0, timer_create(clock, event, &id_));
    EXPECT_EQ(0, timer_settime(id_, flags, &setting, nullptr));
  }
  ~SignalTimer() {
    EXPECT_EQ(0, timer_delete(id_));
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  SignalTimer(const SignalTimer &) = delete;
  SignalTimer &operator=(const SignalTimer &) = delete;
  timer_t Id() const { return id_; }
  // What came with its signal; -1: another one came, or none is there.
  int Value(bool waits = true) const {
    siginfo_t came = {};
    const timespec none = {};
    const int signal = waits ? sigwaitinfo(&set_, &came) : sigtimedwait(&set_, &came, &none);
    return signal > 0 && came.si_code == SI_TIMER ? came.si_value.sival_int : -1;
  }

 private:
  timer_t id_;
  sigset_t set_, before_;
};

sigevent Signal(int signal, int value) {
  sigevent sent = {};
  sent.sigev_notify = SIGEV_SIGNAL;
  sent.sigev_signo = signal;
  sent.sigev_value.sival_int = value;
  return sent;
}

// Every timer falls due when it says, to the nanosecond.
TEST_F(TimerTest, EveryTimerIsDueAtItsMoment) {
  const struct {
    const char *what;
    std::function<int()> wait;
    int result;
  } kRows[] = {
      {"timerfd", [] { return Expirations(Descriptor(Once(100))); }, 1},
      {"timerfd and poll",
       [] {
         const Descriptor timer(Every(10));
         int count = 0;
         for (pollfd readable = {timer, POLLIN, 0}; count < 10; count += Expirations(timer)) {
           if (poll(&readable, 1, 10'001) != 1) return -1;
         }
         return count;
       },
       10},
      {"timerfd that is not read meanwhile",
       [] {
         const Descriptor timer(Every(9));
         sleep(100);
         return Expirations(timer);
       },
       11},
      {"timerfd that is set anew",
       [] {
         const Descriptor timer(Every(9));
         sleep(50);
         const itimerspec later = Once(50);
         itimerspec before;
         timerfd_settime(timer, 0, &later, &before);
         return before.it_interval.tv_sec == 9 && before.it_value.tv_sec == 4 ? Expirations(timer)
                                                                              : -1;
       },
       1},
      {"timerfd by a clock that is set",
       [] {
         const Descriptor timer({{10, 0}, Later(1000)}, CLOCK_REALTIME, TFD_TIMER_ABSTIME);
         sleep(100);
         const timespec later = Later(925);
         clock_settime(CLOCK_REALTIME, &later);
         return Expirations(timer);
       },
       3},
      {"timer_create",
       [] {
         sigevent sent = Signal(SIGUSR1, 42);
         return SignalTimer(&sent, Once(100)).Value();
       },
       42},
      {"timer_create without an event, until a moment",
       [] {
         const SignalTimer timer(nullptr, {{0, 0}, Later(100)}, CLOCK_REALTIME, TIMER_ABSTIME);
         return timer.Value() == static_cast<int>(reinterpret_cast<intptr_t>(timer.Id())) ? 0 : -1;
       },
       0},
      {"timer_getoverrun",
       [] {
         sigevent sent = Signal(SIGRTMIN, 42);
         const SignalTimer timer(&sent, Every(9));
         sleep(100);
         if (timer.Value() != 42 || timer.Value(false) != -1) return -1;
         return timer_getoverrun(timer.Id());
       },
       10},
      {"timer_create for one thread",
       [] {
         sigevent sent = Signal(SIGUSR1, 42);
         sent.sigev_notify = SIGEV_THREAD_ID;
         sent._sigev_un._tid = gettid();
         const SignalTimer timer(&sent, Once(50));
         int others = 0;
         std::thread([&] { others = sleep(100) == 0 ? timer.Value(false) : 0; }).join();
         return others == -1 ? timer.Value(false) : -1;
       },
       42},
      {"timer_gettime",
       [] {
         sigevent sent = {};
         sent.sigev_notify = SIGEV_NONE;
         sent.sigev_signo = SIGUSR1;
         const SignalTimer timer(&sent, Every(70));
         sleep(100);
         itimerspec left;
         timer_gettime(timer.Id(), &left);
         return static_cast<int>(left.it_value.tv_sec);
       },
       40},
  };
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.what);
    const int64_t start = vboard::Lifetime();
    EXPECT_EQ(row.result, row.wait());
    EXPECT_EQ(100.0, static_cast<double>(vboard::Lifetime() - start) * 1e-9);
  }
}

// It falls due for who has it, and for nobody else.
TEST_F(TimerTest, ATimerLivesAsLongAsItsDescriptorIsOpen) {
  const itimerspec setting = Once(100);
  const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  timerfd_settime(timer, 0, &setting, nullptr);
  const int64_t start = vboard::Lifetime();
  const pid_t id = fork();
  if (id == 0) {
    const int copy = fcntl(timer, F_DUPFD_CLOEXEC, 0);
    close(timer);
    _exit(Expirations(copy));
  }
  close(timer);
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  EXPECT_EQ(timer, ends[0]);
  int status = 0;
  EXPECT_EQ(id, waitpid(id, &status, 0));
  EXPECT_EQ(1, WEXITSTATUS(status));
  EXPECT_EQ(100.0, static_cast<double>(vboard::Lifetime() - start) * 1e-9);
  pollfd next = {ends[0], POLLIN, 0};
  EXPECT_EQ(0, poll(&next, 1, 1'000'000));
  close(ends[0]);
  close(ends[1]);
}

TEST_F(TimerTest, TimersAreManyButNotWithoutEnd) {
  for (int i = 0; i < 1000; ++i) {
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    ASSERT_LE(0, timer);
    close(timer);
  }
  EXPECT_THAT(Events(), ElementsAre());
  std::vector<timer_t> timers(1);
  while (timer_create(CLOCK_MONOTONIC, nullptr, &timers.back()) == 0) timers.emplace_back();
  EXPECT_EQ(EAGAIN, errno);
  timers.pop_back();
  EXPECT_LE(32U, timers.size());
  EXPECT_THAT(Events(), ElementsAre("timer_create: the board has no timer left of 64"));
  EXPECT_EQ(255, test::InChild([&] { return timer_delete(timers[0]); }).exitStatus);
  for (timer_t timer : timers) EXPECT_EQ(0, timer_delete(timer));
}

// The keeper, which sends its signal, knows it by another number.
TEST_F(TimerTest, AProcessTableOfItsOwnHasItsAlarms) {
  const test::Child child = test::InChild([] {
    if (unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) return 77;
    if (fork() == 0) {
      signal(SIGALRM, [](int) {});
      alarm(5);
      _exit(getpid() == 1 && sleep(1000) == 995 ? 42 : 1);
    }
    // With its first child this process table has ended, and the check for leaks starts another.
    int status = 0;
    _exit(wait(&status) > 0 ? WEXITSTATUS(status) : 2);
  });
  if (child.exitStatus == 77) GTEST_SKIP() << "no process table of one's own";
  EXPECT_EQ(42, child.exitStatus);
}

TEST_F(TimerTest, TimersRefuseWhatTheKernelRefuses) {
  const Descriptor timer(Once(100));
  sigevent event = Signal(SIGUSR1, 0);
  const SignalTimer signals(&event, Once(100));
  sigevent none = Signal(0, 0), keepers = Signal(SIGRTMAX, 0), thread = Signal(SIGUSR1, 0);
  thread.sigev_notify = SIGEV_THREAD_ID;
  thread._sigev_un._tid = 1;
  const itimerspec setting = Once(1), bad = {{0, 0}, {0, 1'000'000'000}}, early = Once(-1);
  uint32_t half = 0;
  timer_t made;
  const struct {
    const char *what;
    int result, error;
  } kRows[] = {
#define ROW(error, call) {#call, (errno = 0, static_cast<int>(call)) == -1 ? errno : 0, error}
      ROW(EINVAL, timerfd_create(99, 0)),
      ROW(EINVAL, timerfd_create(CLOCK_PROCESS_CPUTIME_ID, 0)),
      ROW(EINVAL, timerfd_create(CLOCK_MONOTONIC, 1)),
      ROW(EINVAL, timerfd_settime(timer, 0, &bad, nullptr)),
      ROW(EINVAL, timerfd_settime(timer, 8, &setting, nullptr)),
      ROW(EINVAL, timerfd_settime(STDOUT_FILENO, 0, &setting, nullptr)),
      ROW(EBADF, timerfd_settime(-1, 0, &setting, nullptr)),
      ROW(EINVAL, read(timer, &half, sizeof half)),
      ROW(EINVAL, write(timer, "12345678", 8)),
      ROW(EINVAL, timer_create(99, nullptr, &made)),
      ROW(EINVAL, timer_create(CLOCK_MONOTONIC, &none, &made)),
      ROW(EINVAL, timer_create(CLOCK_MONOTONIC, &keepers, &made)),
      ROW(EINVAL, timer_create(CLOCK_MONOTONIC, &thread, &made)),
      ROW(EINVAL, timer_settime(signals.Id(), 0, &bad, nullptr)),
      ROW(EINVAL, timer_settime(signals.Id(), 0, &early, nullptr)),
      ROW(EINVAL, timer_delete(static_cast<char *>(signals.Id()) + 1)),
      ROW(0, timer_create(CLOCK_PROCESS_CPUTIME_ID, nullptr, &made)),
      ROW(0, timer_settime(made, 0, &setting, nullptr)),
      ROW(0, timer_delete(made)),
#undef ROW
  };
  for (const auto &row : kRows) EXPECT_EQ(row.error, row.result) << row.what;
}

TEST_F(TimerTest, WhatIsNotServedSaysSo) {
  const itimerspec setting = Once(1);
  const Descriptor timer(setting);
  sigevent thread = {};
  thread.sigev_notify = SIGEV_THREAD;
  timer_t made;
  EXPECT_EQ(-1, timer_create(CLOCK_MONOTONIC, &thread, &made));
  EXPECT_EQ(ENOSYS, errno);
  EXPECT_EQ(-1, timerfd_create(CLOCK_REALTIME_ALARM, TFD_CLOEXEC));
  EXPECT_EQ(-1,
            timerfd_settime(timer, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &setting, nullptr));
  EXPECT_EQ(EINVAL, errno);
  EXPECT_THAT(Events(),
              ElementsAre("timer_create with SIGEV_THREAD: not served on the board",
                          "timerfd_create: not served on the board",
                          "timerfd_settime: TFD_TIMER_CANCEL_ON_SET is not served on the board"));
}

}  // namespace
