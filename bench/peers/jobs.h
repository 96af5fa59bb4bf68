// The jobs, and how each program is told to do them.
#pragma once

#include <string>
#include <vector>

#include "bench/peers/picture.h"

namespace vello::bench {

// What a program computes with, and so what its figure may be compared with.
enum class Work { linearFloat, encodedFloat, integer16, integer8 };
const char* nameOf(Work work);
// Linear light or floats: as much work as ours.
bool comparable(Work work);

struct Command {
  std::string program;  // "vello", "gegl", "vips", "vips-linear", "convert", "gmic"
  Work work = Work::linearFloat;
  std::vector<std::string> arguments;  // reads a.tif and b.tif, writes out.tif in the folder it runs in
  std::vector<std::string> filters;    // ours: job.chain, as `vello chain new` takes it
  std::string note;                    // how the work differs from ours
  std::string chain;                   // ours: job.chain itself, where there are no filters
};

struct Job {
  std::string name, title;
  std::vector<Command> commands;  // no command: the program has no such operation
  const Command* of(const std::string& program) const;
};

// What is timed, in the order it is printed. The last, "startup", is for pictures of one pixel.
std::vector<Job> jobsFor(Size size);
// Loads and saves, and brings the samples into the form the jobs work in and back.
Job noOperation();
// Loads and saves.
Job copyOperation();

}  // namespace vello::bench
