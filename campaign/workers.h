// Processes that do tasks, each one at a time: one that hangs or dies costs its own task only.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace campaign {

class Workers {
 public:
  // What a worker answers to a task. Runs in the worker, which has its number from 0.
  using Work = std::function<std::string(unsigned worker, const std::string &task)>;

  Workers(unsigned number, Work work);
  ~Workers();
  Workers(const Workers &) = delete;
  Workers &operator=(const Workers &) = delete;

  // Has every task done; next gives them one after the other, and "" at their end. Each answer
  // comes with its task; of a worker that died or took longer than so many real seconds it is "".
  void Do(const std::function<std::string()> &next, double seconds,
          const std::function<void(const std::string &task, const std::string &answer)> &done);

 private:
  struct Worker {
    pid_t process = 0;
    int socket = -1;
    std::string task;  // empty: it waits for one
    int64_t due = 0;   // by the PC's clock
  };

  void Start(unsigned number);
  void End(Worker &worker);
  [[noreturn]] void Serve(unsigned number, int socket);

  Work work_;
  std::vector<Worker> workers_;
};

}  // namespace campaign
