# The handles of hosts in C++: a dialogue, empty handles, and what ends with what.
source $tcl_scripts/people.tcl
source $tcl_scripts/files.tcl
is 0 [sv_init]
is 1 [expr {[sv_trace_on SOME_FLAG 0] >= 0}]
is 0 [sv_make_threadsafe]
is 0 [sv_terminate_thread]
is 0 [sv_set_resources_path $folder]
is 0 [sv_signal_handler]
DastBase::dump $base $folder/people.base
~DastBase $base
~TeraMap $map
write people.ses $template
write people.ldb "main_svd\tpeople.base\nses\tpeople.ses\nsss\ta.tcl\n"
set ldb [SorvantaLdbFile]
is 3 [SorvantaLdbFile::read_from_file $ldb people.ldb "" $folder/]
is {people.ldb people.base 1 a.tcl} [list [SorvantaLdbFile::get_ldb $ldb] [SorvantaLdbFile::get_main_svd $ldb] [SorvantaLdbFile::get_num_sss_files $ldb] [SorvantaLdbFile::get_sss_file $ldb 0]]
is {{people.ldb people.base people.ses a.tcl} {}} [list [SorvantaLdbFile::get_file_list $ldb] [SorvantaLdbFile::get_sss_dependencies $ldb]]
~SorvantaManager [SorvantaManager]
set manager [SorvantaManager]
set data [SorvantaDataManager]
is 0 [SorvantaDataManager::load $data $ldb $manager 1 $folder/]
is {6 1 0 utf-8} [list [SorvantaDataManager::get_num_records $data] [SorvantaDataManager::has_recall_base $data] [SorvantaDataManager::has_instant_loaded $data] [SorvantaDataManager::get_base_encoding $data]]
is 0 [SorvantaDataManager::lock $data $ldb 1 $folder/]
is 0 [SorvantaDataManager::unlock $data $ldb $folder/]
is 0 [SorvantaDataManager::maintenance $data]
is people [SorvantaManager::get_template_names $manager]
set id [SorvantaManager::create_session $manager people]
set session [SorvantaSession]
is 0 [SorvantaSession::get_num_fields $session]
is 1 [catch {SorvantaManager::get_session $manager -7 $session}]
is 0 [SorvantaManager::get_session $manager $id $session]
is 1 [SorvantaManager::get_num_sessions $manager]
is {people 1 1} [list [SorvantaSession::get_name $session] [SorvantaSession::is_reference $session] [SorvantaSession::get_num_combi $session]]
is {2 surname EDIT} [list [SorvantaSession::get_field_index $session city] [SorvantaSession::get_field_name $session 1] [SorvantaSession::get_field_method $session 1]]
is {190 100 1} [list [SorvantaSession::get_field_rescale $session 1] [SorvantaSession::get_field_weight $session 1] [expr {[SorvantaSession::get_field_properties $session 1] >= 0}]]
is {180 50 100} [list [SorvantaSession::get_min_value $session] [SorvantaSession::get_max_dist $session] [SorvantaSession::get_num_suggs $session]]
is {default FIXED_FORM 100} [list [SorvantaSession::get_combination_name $session 0] [SorvantaSession::get_combination_type $session 0] [SorvantaSession::get_combi_field_weight $session 0 0]]
is {180 50 100} [list [SorvantaSession::get_combi_min_conf $session 0] [SorvantaSession::get_combi_max_dist $session 0] [SorvantaSession::get_combi_num_suggs $session 0]]
is {63 32 -1} [list [SorvantaSession::get_mode_code 4] [SorvantaSession::get_mode_code -1] [SorvantaSession::get_mode_code -2]]
is "" [SorvantaSession::get_script_function $session]
is {0 0 0} [list [SorvantaSession::set_result_type $session 5] [SorvantaSession::set_auto $session 0] [SorvantaSession::set_globals $session default 180 50 9]]
is 0 [SorvantaSession::set_field_rescales $session {0 0 0}]
is 1 [catch {SorvantaSession::set_field_rescales $session {0 0}}]
is 0 [SorvantaSession::reset_timer $session]
is 1 [expr {[SorvantaSession::get_remaining_time $session] > 0}]
set result [SorvantaSessionResult]
is {-1 -1 0} [list [SorvantaSessionResult::get_num_suggs $result] [SorvantaSessionResult::get_size_context $result] [SorvantaSessionResult::can_undo $result]]
is 1 [SorvantaSession::update $session surname Mayer ? $result]
is {3 1 2} [list [SorvantaSessionResult::get_num_fields $result] [SorvantaSessionResult::get_alt_field $result] [SorvantaSessionResult::get_num_alts $result 1]]
set value [SorvantaAlternative $result]
set walked {}
while 1 {
  lappend walked [SorvantaAlternative::get_rank $value] [SorvantaAlternative::get_rep $value] [SorvantaAlternative::get_quality $value] \
    [SorvantaAlternative::get_num_hits $value] [SorvantaAlternative::get_context_status $value]
  if {![SorvantaAlternative::go_next $value]} break
}
is {0 Meyer 208 1 IN_CONTEXT 1 Meier 159 2 IN_CONTEXT} [set walked]
set other [SorvantaAlternative::of_field $result 1]
is Meyer [SorvantaAlternative::get_rep $other]
set field [SorvantaStatus $result]
is 1 [SorvantaStatus::go_next $field]
is {1 surname Mayer IN_CONTEXT 63} [list [SorvantaStatus::get_rank $field] [SorvantaStatus::get_field_name $field] [SorvantaStatus::get_string $field] [SorvantaStatus::get_status $field] [SorvantaStatus::get_mode $field]]
is {3 208 100} [list [SorvantaStatus::num_records $field] [SorvantaStatus::get_best_qual $field] [SorvantaStatus::get_weight $field]]
is 1 [SorvantaSession::select $session surname]
is 1 [SorvantaSession::suggest $session $result]
is {{} {} {}} [list [tie_type $value] [tie_type $other] [tie_type $field]]
is {1 0 NONE} [list [SorvantaSessionResult::get_max_suggs $result] [SorvantaSessionResult::get_category $result] [SorvantaSessionResult::get_category_name $result]]
is {{} {} 0} [list [SorvantaSessionResult::get_reason $result] [SorvantaSessionResult::get_rule $result] [SorvantaSessionResult::can_redo $result]]
is 1 [SorvantaSession::deselect $session surname]
is 1 [SorvantaSession::count_field $session $result city]
is 1 [SorvantaSession::clear $session surname 0 $result]
is 1 [SorvantaSession::clear_all $session]
is 1 [SorvantaSession::search $session $result {? ? ?} {Anna Meier Basel}]
set record [SorvantaSuggestion $result]
is {0 1 255 3} [list [SorvantaSuggestion::get_rank $record] [SorvantaSuggestion::get_idx $record] [SorvantaSuggestion::get_quality $record] [SorvantaSuggestion::get_num_strings $record]]
is {Anna Meier 255} [list [SorvantaSuggestion::get_string $record 0] [SorvantaSuggestion::get_string $record 1] [SorvantaSuggestion::get_field_quality $record 1]]
is {1 1 0 0} [list [SorvantaSuggestion::has_strings $record] [SorvantaSuggestion::has_qualities $record] [SorvantaSuggestion::has_field_infos $record] [SorvantaSuggestion::has_record_info $record]]
is {1 1} [list [catch {SorvantaSuggestion::get_record_info $record}] [catch {SorvantaSuggestion::get_field_info $record 0}]]
is 0 [SorvantaSuggestion::go_next $record]
is 1 [catch {SorvantaSession::search $session $result ? {a b}}]
is 1 [SorvantaSession::transform_res $session $result]
is 0 [SorvantaSession::cache $session $result]
is -1 [SorvantaSessionResult::get_num_suggs $result]
is 1 [SorvantaSession::view $session $result 0 1]
is 1 [SorvantaSession::assess $session $result {? ? ?} {Anna Meier Basel}]
is 0 [SorvantaSession::multi_select $session {"" ! ""} {"" Meier ""}]
is 1 [SorvantaSession::sync_session $session {"" ! ""} {"" Weber ""}]
is 1 [SorvantaSession::undo $session $result]
is 1 [SorvantaSession::redo $session $result]
is 0 [SorvantaSession::get_row $session $result surname Meier 0 5]
is {1 0} [list [catch {SorvantaSession::set_abstraction_level $session city}] [SorvantaSession::clear_abstraction $session]]
set copy [SorvantaSession::copy $session]
is 0 [SorvantaSession::is_reference $copy]
is 0 [SorvantaManager::destroy_session $manager $id]
is 1 [catch {SorvantaSession::get_name $session}]
is people [SorvantaSession::get_name $copy]
is 0 [SorvantaSession::clean $copy]
is 0 [SorvantaManager::destroy_timedout_sessions $manager 1000000]
is 0 [SorvantaManager::clean_all_templates $manager]
is 1 [SorvantaScripting::check_script_type {a.tcl b.tcl}]
is 1 [catch {SorvantaScripting::check_script_type {a.tcl b.jar}}]
is 1 [catch {SorvantaTimer [string repeat x 500]}]
set timer [SorvantaTimer test]
SorvantaTimer::start $timer
SorvantaTimer::stop $timer
is 1 [SorvantaTimer::get_num_starts $timer]
is 1 [expr {[SorvantaTimer::get_seconds $timer] >= 0}]
SorvantaTimer::reset $timer
is 0 [SorvantaTimer::get_num_starts $timer]
# Empty handles answer, whatever they are asked.
set none [SorvantaSession]
set nothing [SorvantaSessionResult]
foreach class {SorvantaStatus SorvantaAlternative SorvantaSuggestion} {
  set item [$class $nothing]
  foreach command [info commands ${class}::*] {catch {$command $item 0}}
  ~$class $item
}
foreach command [concat [info commands SorvantaSession::*] [info commands SorvantaSessionResult::*]] {
  if {$command in {SorvantaSession::copy ::SorvantaSession::copy}} continue
  catch {$command [expr {[string match *Result::* $command] ? $nothing : $none}]}
  catch {$command $none $nothing}
}
foreach {class object} [list SorvantaSession $none SorvantaSessionResult $nothing SorvantaTimer $timer \
                             SorvantaSessionResult $result SorvantaSession $copy SorvantaDataManager $data SorvantaLdbFile $ldb] {is 0 [~$class $object] $class}
is {{} {}} [list [tie_type $manager] [tie_type $session]]
