# Settings of the process, threads, time analysis and files.
AceReporter::set_as_default [AceReporter::get_null_reporter]
is [AceReporter::get_null_reporter] [AceReporter::get_default_reporter]
set limit [AceReporter::get_num_conf_opt_limit]
AceReporter::set_num_conf_opt_limit 7
is 7 [AceReporter::get_num_conf_opt_limit]
AceReporter::set_num_conf_opt_limit $limit
set threads [SVUtils::get_default_num_threads]
SVUtils::set_default_num_threads 2
is 2 [SVUtils::get_default_num_threads]
SVUtils::set_default_num_threads $threads
foreach name {real.txt other.txt} {close [open $folder/$name w]}
is 0 [SVUtils::add_managed_file $folder/real.txt shown.txt]
is 1 [catch {SVUtils::get_managed_file shown.txt}]
is 0 [SVUtils::set_local_mode 0]
is $folder/real.txt [SVUtils::get_managed_file shown.txt]
is 0 [ace_add_managed_file $folder/other.txt other.txt]
is $folder/other.txt [ace_get_managed_file other.txt]
is 1 [SVUtils::set_local_mode 1]
is 0 [SVUtils::delete_cpp_garbage]
is 0 [SVUtils::num_cpp_objects]
is 0 [SVUtils::ace_alloc_debug 0]
is 0 [SVUtils::ace_alloc_warning 0]
is 0 [SVUtils::ace_array_mem_check 1]
is 0 [SVUtils::ace_array_mem_check 0]
is 0 [SVUtils::ace_type_mem_check 1]
is 0 [SVUtils::ace_type_mem_check 0]
foreach {begin end} {AceThreadSafe::make_thread_safe AceThreadSafe::terminate_thread SVThread::make_thread_safe SVThread::make_normal} {
  $begin
  is 1 [expr {[$end] >= 0}] $end
}
SVTimeAnalysis::switch_state 1 0
is 1 [SVTimeAnalysis::use 0]
is 1 [string match "*\t2\tSTART*" [SVTimeAnalysis::time_analysis_native]]
SVTimeAnalysis::switch_state 0 0
is 0 [SVTimeAnalysis::reset]
is "" [SVTimeAnalysis::time_analysis_native]
set file [WriteFileCache $folder/whole.txt]
WriteFileCache::put_string $file "one\n"
is 0 [file exists $folder/whole.txt]
WriteFileCache::put_string $file "two\n"
WriteFileCache::close $file
WriteFileCache::close $file
is 8 [file size $folder/whole.txt]
is "Internal Exception in tied function 'WriteFileCache::put_string', Cannot write file: $folder/whole.txt: it is closed" [failure {WriteFileCache::put_string $file more}]
~WriteFileCache $file
set file [WriteFileCache $folder/never.txt]
~WriteFileCache $file
is 0 [file exists $folder/never.txt]
is 1 [catch {WriteFileCache $folder/no/such/folder.txt}]
is 0 [AceReporter::clear_default]
