#include "dast/dast_parallel_resource.h"

#include <algorithm>
#include <thread>

int DastParallelResource::buildWorkerThreads = 0;
int DastParallelResource::multifieldCollectParts = 1;
int DastParallelResource::multifieldEvalParts = 1;
int DastParallelResource::flexformCollectParts = 1;
int DastParallelResource::flexformEvalParts = 1;
int DastParallelResource::singleFieldParallel = 0;
int DastParallelResource::flexRegionParallel = 0;

int DastParallelResource::get_build_worker_threads() {
  if (buildWorkerThreads != 0) return buildWorkerThreads;
  return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}
