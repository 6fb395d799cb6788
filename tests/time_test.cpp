// The board's own time, in which every clock and every wait of its programs goes.
#include <aio.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <mqueue.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <sys/times.h>
#include <sys/wait.h>
#include <threads.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <thread>

#include "tests/support/board_test.h"
#include "vboard/real.h"

namespace {

using testing::ElementsAre;

class TimeTest : public test::BoardTest {
 protected:
  void SetUp() override { UseBoard(test::SmallBoard(4, 0)); }
};

timespec Clock(clockid_t clock, double more = 0) {
  timespec time = {};
  clock_gettime(clock, &time);
  const auto nanoseconds = time.tv_nsec + static_cast<int64_t>(more * 1e9);
  time.tv_sec += static_cast<time_t>(nanoseconds / 1'000'000'000);
  time.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
  return time;
}

// Every wait takes as long as it says, to the nanosecond.
TEST_F(TimeTest, EveryWaitTakesItsTime) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  pollfd empty = {ends[0], POLLIN, 0};
  const int events = epoll_create1(EPOLL_CLOEXEC);
  epoll_event event = {};
  sem_t semaphore;
  sem_init(&semaphore, 0, 0);
  pthread_mutex_t held = PTHREAD_MUTEX_INITIALIZER;
  sigset_t all;
  sigfillset(&all);
  const timespec duration = {100, 0};
  const struct {
    const char *what;
    std::function<int()> wait;
    int result, error;
  } kRows[] = {
      {"sleep", [] { return static_cast<int>(sleep(100)); }, 0, 0},
      {"usleep and ualarm",
       [] {
         const sighandler_t before = signal(SIGALRM, [](int) {});
         ualarm(500'000, 0);
         const int interrupted = usleep(100'000'000);
         signal(SIGALRM, before);
         return interrupted == -1 ? usleep(99'500'000) : -1;
       },
       0, 0},
      {"nanosleep", [&] { return static_cast<int>(syscall(SYS_nanosleep, &duration, nullptr)); }, 0,
       0},
      {"clock_nanosleep", [&] { return clock_nanosleep(CLOCK_MONOTONIC, 0, &duration, nullptr); },
       0, 0},
      {"until a moment",
       [] {
         const timespec end = Clock(CLOCK_REALTIME, 100);
         return clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &end, nullptr);
       },
       0, 0},
      {"poll", [&] { return poll(&empty, 1, 100'000); }, 0, 0},
      {"ppoll", [&] { return ppoll(&empty, 1, &duration, nullptr); }, 0, 0},
      {"select",
       [&] {
         fd_set set;
         FD_ZERO(&set);
         FD_SET(ends[0], &set);
         timeval timeout = {0, 100'000'000};
         const int result = select(INT_MAX, &set, nullptr, nullptr, &timeout);
         return result + FD_ISSET(ends[0], &set) + static_cast<int>(timeout.tv_sec);
       },
       0, 0},
      {"pselect with a set of one word",
       [&] {
         unsigned long words[2] = {1UL << ends[0], ~0UL};
         auto *set = reinterpret_cast<fd_set *>(words);
         const int result = pselect(ends[0] + 1, set, nullptr, nullptr, &duration, nullptr);
         return words[0] == 0 && words[1] == ~0UL ? result : -1;
       },
       0, 0},
      {"epoll_wait", [&] { return epoll_wait(events, &event, 1, 100'000); }, 0, 0},
      {"epoll_pwait2", [&] { return epoll_pwait2(events, &event, 1, &duration, nullptr); }, 0, 0},
      {"thrd_sleep", [&] { return thrd_sleep(&duration, nullptr); }, 0, 0},
      {"sigtimedwait", [&] { return sigtimedwait(&all, nullptr, &duration); }, -1, EAGAIN},
      {"sem_timedwait",
       [&] {
         const timespec end = Clock(CLOCK_REALTIME, 100);
         return sem_timedwait(&semaphore, &end);
       },
       -1, ETIMEDOUT},
#ifndef __SANITIZE_THREAD__
      // The thread sanitizer calls the C library's own, by its version, and does not know
      // clockjoin.
      {"pthread_cond_timedwait",
       [&] {
         pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
         pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
         pthread_mutex_lock(&mutex);
         const timespec end = Clock(CLOCK_REALTIME, 100);
         return pthread_cond_timedwait(&condition, &mutex, &end);
       },
       ETIMEDOUT, 0},
      {"pthread_cond_timedwait by the monotonic clock",
       [] {
         pthread_condattr_t attributes;
         pthread_condattr_init(&attributes);
         pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
         pthread_cond_t condition;
         pthread_cond_init(&condition, &attributes);
         pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
         pthread_mutex_lock(&mutex);
         const timespec end = Clock(CLOCK_MONOTONIC, 100);
         return pthread_cond_timedwait(&condition, &mutex, &end);
       },
       ETIMEDOUT, 0},
      {"pthread_clockjoin_np",
       [&] {
         pthread_t other;
         pthread_create(
             &other, nullptr, [](void *) -> void * { return usleep(100'000'000), &errno; },
             nullptr);
         const timespec end = Clock(CLOCK_MONOTONIC, 200);
         return pthread_clockjoin_np(other, nullptr, CLOCK_MONOTONIC, &end);
       },
       0, 0},
#endif
      {"condition_variable",
       [] {
         std::mutex mutex;
         std::unique_lock lock(mutex);
         return std::condition_variable().wait_for(lock, std::chrono::seconds(100)) ==
                        std::cv_status::timeout
                    ? 0
                    : -1;
       },
       0, 0},
      {"future",
       [] {
         return std::promise<int>().get_future().wait_for(std::chrono::seconds(100)) ==
                        std::future_status::timeout
                    ? 0
                    : -1;
       },
       0, 0},
      {"pthread_mutex_timedlock",
       [&] {
         int result = 0;
         std::thread other([&] { pthread_mutex_lock(&held); });
         other.join();
         const timespec end = Clock(CLOCK_REALTIME, 100);
         result = pthread_mutex_timedlock(&held, &end);
         return result;
       },
       ETIMEDOUT, 0},
      {"pthread_timedjoin_np",
       [&] {
         std::thread other([&] { sem_wait(&semaphore); });
         const timespec end = Clock(CLOCK_REALTIME, 100);
         const int result = pthread_timedjoin_np(other.native_handle(), nullptr, &end);
         sem_post(&semaphore);
         other.join();
         return result;
       },
       ETIMEDOUT, 0},
      {"alarm",
       [] {
         static volatile sig_atomic_t rang;
         rang = 0;
         signal(SIGALRM, [](int) { rang = 1; });
         alarm(100);
         const unsigned slept = UINT_MAX - sleep(UINT_MAX);
         signal(SIGALRM, SIG_DFL);
         return rang == 1 ? static_cast<int>(slept) : -1;
       },
       100, 0},
  };
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.what);
    const int64_t start = vboard::Lifetime();
    errno = 0;
    EXPECT_EQ(row.result, row.wait());
    EXPECT_TRUE(row.error == 0 || row.error == errno) << strerror(errno);
    EXPECT_EQ(100.0, static_cast<double>(vboard::Lifetime() - start) * 1e-9);
  }
  close(events);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(TimeTest, AThreadIsCancelledWhereItSleepsAndNotInAnEvent) {
  pthread_t thread;
  void *result = nullptr;
  const auto body = [](void *) -> void * {
    pthread_cancel(pthread_self());
    vboard::Event("told");
    usleep(1);
    return nullptr;
  };
  ASSERT_EQ(0, pthread_create(&thread, nullptr, body, nullptr));
  EXPECT_EQ(0, pthread_join(thread, &result));
  EXPECT_EQ(PTHREAD_CANCELED, result);
  EXPECT_THAT(Events(), ElementsAre("told"));
}

TEST_F(TimeTest, APollThatDoesNotWaitLetsASignalIn) {
  static volatile sig_atomic_t came;
  came = 0;
  struct sigaction action = {}, before;
  action.sa_handler = [](int) { came = 1; };
  sigaction(SIGUSR1, &action, &before);
  sigset_t usr1, none;
  sigemptyset(&none);
  sigemptyset(&usr1);
  sigaddset(&usr1, SIGUSR1);
  sigprocmask(SIG_BLOCK, &usr1, nullptr);
  raise(SIGUSR1);
  const timespec now = {};
  EXPECT_EQ(-1, ppoll(nullptr, 0, &now, &none));
  EXPECT_EQ(1, came);
  sigprocmask(SIG_UNBLOCK, &usr1, nullptr);
  sigaction(SIGUSR1, &before, nullptr);
}

// A listening socket of the PC, and its address.
class Listener {
 public:
  Listener() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address_;
    EXPECT_EQ(0, bind(fd_, Address(), length) + listen(fd_, 0));
    EXPECT_EQ(0, getsockname(fd_, Address(), &length));
  }
  ~Listener() {
    for (const int client : clients_) close(client);
    close(fd_);
  }
  Listener(const Listener &) = delete;
  Listener &operator=(const Listener &) = delete;
  operator int() const { return fd_; }
  int Connect() {
    clients_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return connect(clients_.back(), Address(), sizeof address_);
  }

 private:
  sockaddr *Address() { return reinterpret_cast<sockaddr *>(&address_); }

  int fd_;
  sockaddr_in address_ = {};
  std::vector<int> clients_;
};

// Who is not on the board has time to answer.
TEST_F(TimeTest, WhatIsNotOnTheBoardLivesInThePcsTime) {
  Listener listener;
  ASSERT_EQ(0, listener.Connect());
  const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  const int events = epoll_create1(EPOLL_CLOEXEC);
  epoll_event event = {};
  EXPECT_EQ(0, epoll_ctl(events, EPOLL_CTL_ADD, connection, &event));
  pollfd empty = {connection, POLLIN, 0};
  const int64_t start = vboard::real::Now();
  EXPECT_EQ(0, poll(&empty, 1, 300));
  const int64_t between = vboard::real::Now();
  EXPECT_EQ(0, epoll_wait(events, &event, 1, 300));
  EXPECT_LE(100'000'000, between - start);
  EXPECT_LE(100'000'000, vboard::real::Now() - between);
  close(events);
  close(connection);
}

TEST_F(TimeTest, AnAlarmEndsAConnectThatNobodyAnswers) {
  struct sigaction action = {}, before;
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, &before);
  Listener listener;
  int result = 0;
  for (int i = 0; i < 5 && result == 0; ++i) {
    alarm(1);
    result = listener.Connect();
  }
  EXPECT_EQ(-1, result);
  EXPECT_EQ(EINTR, errno);
  sigaction(SIGALRM, &before, nullptr);
}

TEST_F(TimeTest, EveryClockGoesByTheBoard) {
  const auto seconds = [] {
    timeval now = {};
    gettimeofday(&now, nullptr);
    struct sysinfo system = {};
    sysinfo(&system);
    tms used = {};
    timespec standard = {}, called = {};
    timespec_get(&standard, TIME_UTC);
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &called);
    return std::vector<long>{time(nullptr),
                             now.tv_sec,
                             standard.tv_sec,
                             called.tv_sec,
                             Clock(CLOCK_REALTIME).tv_sec,
                             Clock(CLOCK_MONOTONIC).tv_sec,
                             Clock(CLOCK_BOOTTIME).tv_sec,
                             static_cast<long>(times(&used)) / sysconf(_SC_CLK_TCK),
                             system.uptime};
  };
  std::vector<long> before = seconds();
  sleep(1000);
  const std::vector<long> after = seconds();
  for (long &each : before) each += 1000;
  EXPECT_EQ(before, after);
  EXPECT_GT(100, Clock(CLOCK_PROCESS_CPUTIME_ID).tv_sec);
}

// The thread sanitizer waits for what it starts, and calls the C library's own functions.
#ifndef __SANITIZE_THREAD__
// Who waits for the same moment goes on in the order in which it began to wait, threads that were
// woken when who woke them waits.
TEST_F(TimeTest, OneAfterTheOther) {
  for (int round = 0; round < 20; ++round) {
    std::vector<int> order;
    std::vector<std::thread> threads;
    std::mutex mutex;
    std::condition_variable condition;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&, i] {
        order.push_back(i);
        usleep(static_cast<useconds_t>(100 * (8 - i)));
        order.push_back(i);
        std::unique_lock lock(mutex);
        condition.wait(lock);
        order.push_back(i);
      });
    }
    EXPECT_THAT(order, ElementsAre());
    usleep(10'000);
    condition.notify_all();
    EXPECT_EQ(16U, order.size());
    for (std::thread &thread : threads) thread.join();
    EXPECT_THAT(
        order, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 7, 6, 5, 4, 3, 2, 1, 0, 0, 1, 2, 3, 4, 5, 6, 7));
  }
}

#endif

// A byte on its way, a process between fork and exec, one that ends: time waits for them.
TEST_F(TimeTest, TimeWaitsForWhatIsOnItsWay) {
  if (sizeof(void *) == 4) GTEST_SKIP() << "the PC's programs are of another word size";
  for (int round = 0; round < 50; ++round) {
    int there[2], back[2];
    ASSERT_EQ(0, pipe2(there, O_CLOEXEC) + pipe2(back, O_CLOEXEC));
    const int64_t start = vboard::Lifetime();
    const pid_t id = fork();
    if (id == 0) {
      dup2(there[0], STDIN_FILENO);
      dup2(back[1], STDOUT_FILENO);
      execlp("cat", "cat", nullptr);
      _exit(1);
    }
    // Time would jump to the end of these waits.
    pollfd readable = {back[0], POLLIN, 0};
    char byte = 'x';
    EXPECT_EQ(1, write(there[1], &byte, 1));
    EXPECT_EQ(1, poll(&readable, 1, 1000));
    EXPECT_EQ(1, read(back[0], &byte, 1));
    for (const int fd : {there[0], there[1], back[1]}) close(fd);
    EXPECT_EQ(1, poll(&readable, 1, 1000));
    EXPECT_EQ(0, read(back[0], &byte, 1));
    EXPECT_EQ(id, waitpid(id, nullptr, 0));
    EXPECT_EQ(start, vboard::Lifetime());
    close(back[0]);
  }
}

TEST_F(TimeTest, ALoopThatOnlyLooksComesToItsEnd) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(20);
  std::atomic<int> slept{0};
  std::thread sleeper([&] {
    for (; slept < 5; ++slept) usleep(1000);
    usleep(20'000);
    ++slept;
  });
  usleep(1);
  while (std::chrono::steady_clock::now() < end) continue;
  EXPECT_EQ(5, slept);
  while (slept < 6) sched_yield();
  sleeper.join();
}

TEST_F(TimeTest, ALoopOfCallsThatDoNotWaitComesToItsEnd) {
  int ends[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
  const test::Child child = test::InChild([&] {
    std::thread sender([&] {
      usleep(20'000);
      send(ends[1], "x", 1, 0);
    });
    char byte = 0;
    while (recv(ends[0], &byte, 1, MSG_DONTWAIT) < 0) continue;
    sender.join();
    return byte;
  });
  EXPECT_EQ('x', child.exitStatus);
  close(ends[0]);
  close(ends[1]);
}

void Ignore(int) {}
void SleepAndCompute(int) {
  usleep(1000);
  for (const clock_t start = clock(); clock() - start < CLOCKS_PER_SEC / 20;) continue;
}
sigjmp_buf outOfWait;
void JumpOut(int) {
  siglongjmp(outOfWait, 1);
}

// What ends a wait besides its moment and what it waits for: each takes these seconds.
TEST_F(TimeTest, WhatInterruptsAWait) {
  const struct {
    const char *what, *seconds;
    std::function<void()> wait;
  } kRows[] = {
      {"a signal before the first sleep", "5.000",
       [] {
         signal(SIGALRM, Ignore);
         alarm(5);
         sleep(1000);
       }},
      {"a handler that sleeps and computes itself", "1.001",
       [] {
         signal(SIGALRM, SleepAndCompute);
         alarm(1);
         sleep(1000);
       }},
      {"the end of a child", "0.500",
       [] {
         signal(SIGCHLD, Ignore);
         if (fork() == 0) {
           usleep(500'000);
           _exit(0);
         }
         sleep(1000);
         waitpid(-1, nullptr, 0);
       }},
      {"jumps out of more waits than there are places", "4.000",
       [] {
         signal(SIGALRM, JumpOut);
         const itimerval timer = {{0, 0}, {0, 10'000}};
         static int jumps;
         for (jumps = 0; jumps < 300; ++jumps) {
           if (sigsetjmp(outOfWait, 1) != 0) continue;
           setitimer(ITIMER_REAL, &timer, nullptr);
           poll(nullptr, 0, -1);
         }
         sleep(1);
       }},
      {"nothing, where the lock behind it is held", "10.001",
       [] {
         std::mutex mutex;
         std::condition_variable condition;
         std::thread other([&] {
           std::unique_lock lock(mutex);
           condition.wait_for(lock, std::chrono::seconds(1));
         });
         usleep(1000);
         mutex.lock();
         sleep(10);
         mutex.unlock();
         other.join();
       }},
  };
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.what);
    const test::Child child = test::InChild([&] {
      const int64_t start = vboard::Lifetime();
      row.wait();
      printf("%.3f", static_cast<double>(vboard::Lifetime() - start) * 1e-9);
      return 0;
    });
    EXPECT_EQ(row.seconds, child.printed);
  }
}

// It is the others' turn although it does not wait: after a while of the processor's time.
TEST_F(TimeTest, WhoComputesWithoutEndHoldsUpNobody) {
  std::atomic<bool> enough{false};
  std::thread other([&] {
    usleep(100'000);
    enough = true;
  });
  while (!enough) continue;
  other.join();
  EXPECT_THAT(Events(), ElementsAre(testing::HasSubstr("computes on and on")));
}

#ifdef __SANITIZE_THREAD__
// The order in which threads go on here is none that a program could rely on.
TEST_F(TimeTest, TheThreadSanitizerStillSeesRaces) {
  const test::Child child = test::InChild([]() -> int {
    int both = 0;
    std::thread one([&] { ++both; });
    std::thread two([&] { ++both; });
    one.join();
    two.join();
    return both == 2 ? 0 : 1;
  });
  EXPECT_EQ(66, child.exitStatus);
}
#endif

TEST_F(TimeTest, WhatIsNotServedSaysSo) {
  const timespec second = {1, 0};
  char text[] = "x";
  sembuf operation = {};
  const aiocb *list[] = {nullptr};
  EXPECT_EQ(-1, mq_timedsend(-1, text, 1, 0, &second));
  EXPECT_EQ(-1, mq_timedreceive(-1, text, 1, nullptr, &second));
  EXPECT_EQ(-1, semtimedop(-1, &operation, 1, &second));
  EXPECT_EQ(-1, aio_suspend(list, 1, &second));
  EXPECT_EQ(ENOSYS, errno);
  thrd_t other;
  EXPECT_EQ(thrd_error, thrd_create(
                            &other, [](void *) { return 0; }, nullptr));
  struct sigaction action = {};
  EXPECT_EQ(-1, sigaction(SIGRTMAX, &action, nullptr));
  for (int number = SIGRTMIN; number <= SIGRTMAX; ++number) {
    EXPECT_EQ(number == SIGRTMAX, signal(number, SIG_DFL) == SIG_ERR);
  }
  EXPECT_EQ(SIG_ERR, sysv_signal(SIGRTMAX, SIG_IGN));
  EXPECT_EQ(EINVAL, errno);
  EXPECT_THAT(Events(), ElementsAre("mq_timedsend: not served on the board",
                                    "mq_timedreceive: not served on the board",
                                    "semtimedop: not served on the board",
                                    testing::MatchesRegex("aio_suspend.*: not served on the board"),
                                    "thrd_create: not served on the board",
                                    testing::MatchesRegex("signal .* is the board's")));
}

}  // namespace
