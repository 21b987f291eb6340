# Sessions: every setting and every command by what it tells.
source $tcl_scripts/people.tcl
source $tcl_scripts/files.tcl
set manager [DastSessionManager 30]
DastSessionManager::configure_template $manager $base people $template
set id [DastSessionManager::create_session $manager people]
is 1 [DastSessionManager::get_num_sessions $manager]
set managed [DastSessionManager::get_session $manager $id]
is people [DastSession::get_session_name $managed]
is 0 [DastSessionManager::destroy_session $manager $id]
is "" [tie_type $managed]
DastSessionManager::create_session $manager people
is 0 [DastSessionManager::destroy_timedout_sessions $manager 100000]
is 0 [DastSessionManager::clean_all_templates $manager]
is "" [DastSessionManager::get_template_names $manager]
~DastSessionManager [DastSessionManager]
set session [DastSession $base 0 $template]
is 3 [DastSession::get_num_fields $session]
is 6 [DastSession::get_num_records $session]
is 2 [DastSession::get_field_index $session city]
is given [DastSession::get_field_name $session 0]
is EDIT [DastSession::get_field_method $session 0]
is 1 [expr {[DastSession::get_field_properties $session 0] >= 0}]
is utf-8 [DastSession::get_encoding $session]
is 3 [DastSession::get_num_build_fields $session]
is 2 [DastSession::get_build_index $session 2]
is 5 [DastSession::get_field_num_unique $session 1]
is 1 [DastSession::get_num_combi $session]
is 2 [DastSession::get_related_index $session city]
is 0 [DastSession::is_auto $session]
is 2 [DastSession::get_call_mode !]
is {{... } Meier} [list [DastSession::as_query ...] [DastSession::as_query Meier]]
is 1 [expr {[string length [DastSession::get_summary $session]] > 0}]
foreach {name value} {field_rescale 7 field_penalty 9} {
  DastSession::set_$name $session city $value
  is $value [DastSession::get_$name $session city] $name
}
is 0 [DastSession::set_field_shape $session city FILTER]
is FILTER [DastSession::get_field_shape $session city]
is 0 [DastSession::set_field_weight $session 2 30]
is 30 [DastSession::get_field_weight $session 2]
is 0 [DastSession::set_field_display $session 2 FIRST]
is {FIRST FIRST} [list [DastSession::get_field_display $session 2] [DastSession::get_alias_display $session 2]]
is 0 [DastSession::set_field_def_value $session 2 3]
is 191 [DastSession::reshape_quality $session 2 200]
is 0 [DastSession::set_query_transform $session city METAPHONE]
is 0 [DastSession::set_query_transform $session city ""]
is 0 [DastSession::set_result_transform $session city ""]
is 1 [catch {DastSession::set_free_search_shape $session city surname FILTER}]
is 1 [catch {DastSession::get_free_search_shape $session city surname}]
is 1 [catch {DastSession::set_free_search_rescale $session city surname 5}]
is -1 [DastSession::get_free_search_rescale $session city surname]
is 0 [DastSession::inhibit_select $session given]
is 0 [DastSession::inhibit_select $session given 0]
is 0 [DastSession::use_display $session given]
foreach {name value} {min_conf 170 max_dist 44 num_suggs 5 result_type 1} {
  DastSession::set_$name $session $value
  is $value [DastSession::get_$name $session] $name
}
DastSession::set_result_type $session 5
is 0 [DastSession::set_globals $session default 180 40 6]
is 0 [DastSession::set_logic -rep $silent $session (given|surname|city)]
is {(given|surname|city)} [DastSession::get_logic $session]
is 0 [DastSession::switch_active_combination $session default]
is 0 [DastSession::switch_combination $session 0]
is 0 [DastSession::set_assess_id_field $session city]
is city [DastSession::get_assess_id_field $session]
DastSession::set_assess_id_field $session ""
DastSession::set_script_function $session find
is find [DastSession::get_script_function $session]
is 1 [catch {DastSession::get_external_edit_ref $session none}]
is 1 [catch {DastSession::get_external_auto_ref $session none}]
is 1 [catch {DastSession::get_external_multi_ref $session none}]
is 1 [catch {DastSession::get_external_index_ref $session none}]
set file [open $folder/decisions.rules w]
close $file
is 1 [catch {DastSession::load_assess_logic -rep $silent $session $folder/decisions.rules}]
is 0 [catch {DastSession::get_rule_file $session}]
set bare [DastSession $base]
is 0 [DastSession::config_session -rep $silent $bare $template]
is 3 [DastSession::get_num_fields $bare]
is 0 [DastSession::configure -rep $silent $bare $template]
~DastSession $bare
is DastCombination [tie_type [DastSession::create_default_combination $session]]
# Commands.
is 0 [DastSession::update $session surname Meier]
is {Meier approx} [list [DastSession::get_field_query $session 1] [DastSession::get_field_mode $session 1]]
set teaser [DastTeaser $map]
is 1 [expr {[DastSession::fill_teaser $session 1 $teaser] > 0}]
is {die <b>Meier</b> aus Bern} [DastTeaser::generate_teaser $teaser "die Meier aus Bern"]
is 0 [DastSession::fill_teaser $session 2 $teaser]
is 1 [catch {DastSession::fill_teaser $session 3 $teaser}]
~DastTeaser $teaser
is 0 [DastSession::select $session surname]
is 4 [DastSession::get_context_size $session]
is 0 [DastSession::deselect $session surname]
set counted [DastSession::count $session surname]
is 4 [DastResult::get_num_alts $counted]
is 1 [DastResult::get_alt_field $counted]
is 6 [DastResult::add_cands $counted 2]
is 0 [DastResult::set_rep $counted 0 alpha]
is 0 [DastResult::set_quality $counted 0 210]
set alpha [DastResult::get_alt $counted 0]
is {alpha 210} [list [DastCandidate::get_rep $alpha] [DastCandidate::get_quality $alpha]]
DastCandidate::set_num_hits $alpha 12
DastCandidate::set_status $alpha 4
is {12 4} [list [DastCandidate::get_num_hits $alpha] [DastCandidate::get_status $alpha]]
is 15 [DastResult::sum_alt_hits $counted 1]
is 5 [DastResult::remove_cand $counted 1]
set status [DastResult::get_field_status $counted 1]
is {surname ? 4 100} [list [DastStatus::get_name $status] [DastStatus::get_mode $status] [DastStatus::num_records $status] [DastStatus::get_weight $status]]
is 255 [DastStatus::best_candidate $status]
set crossed [DastSession::cross_count $session {"" ? ?} {"" "" ""}]
is 3 [DastResult::get_num_fields $crossed]
set row [DastSession::get_row $session surname Meier 0 5]
is 2 [DastResult::get_num_suggs $row]
is 2 [DastSession::get_total_count $session surname Meier]
is 2 [DastSession::get_total_count_by_idx $session 1 Meier]
set sample [DastSession::generate_sample $session city]
is 1 [expr {[DastResult::get_num_alts $sample] > 0}]
is 0 [DastSession::copy_result $session surname given]
is 0 [DastSession::persist_result $session surname]
is 1 [expr {[DastSession::multi_select $session {"" ! ""} {"" Meier ""}] >= 0}]
is 2 [DastSession::get_context_size $session]
is 1 [expr {[DastSession::synchronize_fields $session {"" ! ""} {"" Weber ""}] >= 0}]
is {1 0} [list [DastSession::can_undo $session] [DastSession::can_redo $session]]
set undone [DastSession::undo $session]
set redone [DastSession::redo $session]
DastSession::update $session surname Meier
DastSession::select $session surname
is 3 [DastSession::dedup $session surname]
is 4 [DastSession::widen $session surname]
DastSession::clear_context $session
is 0 [DastSession::add_context_sort_key $session city]
is 0 [DastSession::clear_context_sort_key $session]
DastSession::set_sort_order $session city
is 0 [DastSession::set_abstraction $session {city}]
is 1 [catch {DastSession::set_abstraction_level $session city}]
is 0 [DastSession::clear_abstraction $session]
DastSession::set_run_time $session 100000
DastSession::reset_timer $session
DastSession::limit_time $session 50
is 1 [expr {[DastSession::get_remaining_time $session] > 0}]
is 1 [expr {[DastSession::get_usable_time $session] > 0}]
is 1 [DastSession::is_timer_running $session]
DastSession::set_sort_order $session ""
set assessed [DastSession::assess $session {? ? ?} {Anna Meier Basel}]
is 3 [DastResult::get_num_suggs $assessed]
is 0 [DastSession::transform_res $session $assessed]
DastSession::cache $session [DastSession::search $session {? ? ?} {Anna Meier Basel}]
DastSession::clear_cached_result $session
is 1 [catch {DastSession::get_cached_result $session}]
is 0 [DastSession::clear $session surname]
is 0 [DastSession::clear_all $session]
foreach command {{update $session nofield Bern} {select $session nofield} {select $session city} {clear $session nofield}
                 {deselect $session nofield} {copy_result $session city nofield} {set_abstraction $session nofield}} {
  is 1 [catch DastSession::$command] $command
}
set result [DastSession::result $session]
is 3 [DastResult::get_num_fields $result]
set clone [DastSession::clone $session]
is {given surname city} [DastSession::get_field_names $clone]
is 3 [DastSession::add_session_field $clone more city]
is 4 [DastSession::get_num_fields $clone]
foreach one [list $counted $crossed $row $sample $undone $redone $assessed $result] {is 0 [~DastResult $one]}
# Many at once, on a session as the base was built for: the first record of each query is the best.
set whole [DastSession::of_base $base]
binary scan [DastSession::match $whole {Anna Meier Basel Peter Meyer Bern} 1] i* columns
is {0 1 1 2 255 255 0 0} $columns
~DastSession $whole
# A field that searches others freely.
set free [string map {"FIELDS\t\{\n" "FIELDS\t\{\nall\t\{\n\tBUILD_FIELD\t\{\}\n\tFS_FIELDS\t\{\n\t\tsurname\t\{\}\n\t\}\n\}\n"} $template]
set searching [DastSession $base 0 $free]
is 0 [DastSession::set_free_search_shape $searching all surname FILTER]
is FILTER [DastSession::get_free_search_shape $searching all surname]
is 0 [DastSession::set_free_search_rescale $searching all surname 5]
is 5 [DastSession::get_free_search_rescale $searching all surname]
~DastSession $searching
# Bases and templates from files that a list names.
DastBase::dump $base $folder/people.base
write people.ses $template
write people.ldb "main_svd\tpeople.base\nses\tpeople.ses\n"
set files [DareLdbFile]
is 2 [DareLdbFile::read_from_file $files people.ldb "" $folder/]
is people.ldb [DareLdbFile::get_name $files]
is {people.ldb people.base people.ses} [DareLdbFile::get_file_list $files]
set data [DareDataManager]
is 0 [DareDataManager::load $data $files $manager 1 $folder/]
is {6 1 utf-8} [list [DareDataManager::get_num_records $data] [DareDataManager::has_recall_base $data] [DareDataManager::get_base_encoding $data]]
is 0 [DareDataManager::lock $data $files 1 $folder/]
is 0 [DareDataManager::unlock $data $files $folder/]
is 0 [DareDataManager::maintenance $data]
is people [DastSessionManager::get_template_names $manager]
~DareDataManager $data
is "" [tie_type $manager]
~DareLdbFile $files
foreach {class object} [list DastSession $clone DastSession $session DastBase $base TeraMap $map] {
  is 0 [~$class $object] $class
}
