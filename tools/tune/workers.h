// Work shared among processes: the engine keeps its position and tables in global records, so each worker is
// a forked copy of the tuner that runs tasks on its own copy and hands back their results as bytes.
#pragma once
#include <cstring>
#include <functional>
#include <string>
#include <vector>

// Runs task(0) .. task(count - 1) in `jobs` processes, each taking the next task as it finishes one. Returns
// what each task wrote, in task order, whatever the number of jobs. With one job nothing is forked. Exits the
// program when a worker fails, since its tasks would be missing.
std::vector<std::string> RunTasks(int jobs, int count, const std::function<std::string(int task)> &task);

// Plain values appended to and read from a task's bytes.
template <typename T>
void AppendBytes(std::string &out, const T *values, size_t count) {
  out.append(reinterpret_cast<const char *>(values), sizeof(T) * count);
}

// Reads `count` values from `at` and moves past them.
template <typename T>
void ReadBytes(const char *&at, T *values, size_t count) {
  if (count) std::memcpy(values, at, sizeof(T) * count);
  at += sizeof(T) * count;
}
