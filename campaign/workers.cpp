#include "campaign/workers.h"

#include <malloc.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <thread>
#include <utility>

#include "vboard/board_time.h"
#include "vboard/processes.h"
#include "vboard/real.h"

namespace campaign {
namespace {

constexpr size_t kLongestMessage = size_t{64} << 10;

// A message's text; "" for none that came whole.
std::string Receive(int socket) {
  static std::array<char, kLongestMessage> text;
  const ssize_t length = recv(socket, text.data(), text.size(), 0);
  return {text.data(), static_cast<size_t>(std::max<ssize_t>(0, length))};
}

bool Send(int socket, const std::string &text) {
  const size_t length = std::min(text.size(), kLongestMessage);
  return send(socket, text.data(), length, MSG_NOSIGNAL) == static_cast<ssize_t>(length);
}

// A board keeps to the processor that its machine is started on.
void KeepToProcessor(unsigned number) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(number % std::max(1U, std::thread::hardware_concurrency()), &set);
  sched_setaffinity(0, sizeof set, &set);
}

}  // namespace

Workers::Workers(unsigned number, Work work) : work_(std::move(work)), workers_(number) {
  vboard::AdoptOrphans();
  for (unsigned i = 0; i < number; ++i) Start(i);
}

Workers::~Workers() {
  for (Worker &worker : workers_) End(worker);
}

void Workers::Start(unsigned number) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::runtime_error("no socket for a worker");
  }
  fflush(nullptr);
  const pid_t process = fork();
  if (process < 0) throw std::runtime_error("no process for a worker");
  if (process == 0) {
    close(ends[0]);
    for (const Worker &other : workers_) close(other.socket);
    Serve(number, ends[1]);
  }
  close(ends[1]);
  workers_[number] = {process, ends[0], "", 0};
}

void Workers::Serve(unsigned number, int socket) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // Its parent ends it. Nothing that is ignored, which a board's programs would inherit.
  for (const int request : {SIGINT, SIGTERM}) signal(request, [](int) {});
  KeepToProcessor(number);
  for (std::string task; !(task = Receive(socket)).empty();) {
    if (!Send(socket, work_(number, task))) break;
    malloc_trim(0);  // of a long history nothing is left to be copied at each start of a program
  }
  _exit(0);
}

// With all that it started.
void Workers::End(Worker &worker) {
  if (worker.process == 0) return;
  kill(worker.process, SIGSTOP);
  vboard::SignalDescendants(SIGKILL, worker.process);
  kill(worker.process, SIGKILL);
  close(worker.socket);
  waitpid(worker.process, nullptr, 0);
  while (waitpid(-1, nullptr, WNOHANG) > 0) continue;
  worker = {};
}

void Workers::Do(
    const std::function<std::string()> &next, double seconds,
    const std::function<void(const std::string &task, const std::string &answer)> &done) {
  const auto patience = static_cast<int64_t>(seconds * vboard::kSecond);
  for (;;) {
    std::vector<pollfd> sockets;
    for (Worker &worker : workers_) {
      if (worker.task.empty() && !(worker.task = next()).empty()) {
        worker.due = vboard::real::Now() + patience;
        Send(worker.socket, worker.task);
      }
      sockets.push_back({worker.socket, static_cast<short>(worker.task.empty() ? 0 : POLLIN), 0});
    }
    const bool any = std::any_of(workers_.begin(), workers_.end(),
                                 [](const Worker &worker) { return !worker.task.empty(); });
    if (!any) return;
    poll(sockets.data(), sockets.size(), 100);
    for (unsigned i = 0; i < workers_.size(); ++i) {
      Worker &worker = workers_[i];
      if (worker.task.empty()) continue;
      const bool late = vboard::real::Now() > worker.due;
      if (sockets[i].revents == 0 && !late) continue;
      const std::string answer = sockets[i].revents != 0 ? Receive(worker.socket) : "";
      const std::string task = std::exchange(worker.task, "");
      if (answer.empty()) {
        End(worker);
        Start(i);
      }
      done(task, answer);
    }
  }
}

}  // namespace campaign
