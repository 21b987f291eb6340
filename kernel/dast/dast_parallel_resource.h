/// How much work is done at once, for the whole process.
///
/// Thread safety: plain settings, made before other threads start.
#pragma once

#include "ace/ace_types.h"

class SORV_API DastParallelResource {
 public:
  /// Threads that build a base, the calling one included; the number of processors at first.
  static void set_build_worker_threads(int count) { buildWorkerThreads = count; }
  static int get_build_worker_threads();
  /// Parts in which the hits of a form are collected and evaluated; 1 at first.
  static void set_multifield_collect_parts(int count) { multifieldCollectParts = count; }
  static int get_multifield_collect_parts() { return multifieldCollectParts; }
  static void set_multifield_eval_parts(int count) { multifieldEvalParts = count; }
  static int get_multifield_eval_parts() { return multifieldEvalParts; }
  static void set_flexform_collect_parts(int count) { flexformCollectParts = count; }
  static int get_flexform_collect_parts() { return flexformCollectParts; }
  static void set_flexform_eval_parts(int count) { flexformEvalParts = count; }
  static int get_flexform_eval_parts() { return flexformEvalParts; }
  /// Whether the fields of a form, or its regions, are looked up at once; 0 at first.
  static void set_single_field_parallel(int on) { singleFieldParallel = on; }
  static int get_single_field_parallel() { return singleFieldParallel; }
  static void set_flex_region_parallel(int on) { flexRegionParallel = on; }
  static int get_flex_region_parallel() { return flexRegionParallel; }

 private:
  static int buildWorkerThreads;  // 0: not set
  static int multifieldCollectParts;
  static int multifieldEvalParts;
  static int flexformCollectParts;
  static int flexformEvalParts;
  static int singleFieldParallel;
  static int flexRegionParallel;
};
