# Results by hand: records, values, qualities and their orders.
set result [DastResult 3]
is {3 0 0} [list [DastResult::get_num_fields $result] [DastResult::get_num_suggs $result] [DastResult::get_max_suggs $result]]
is 0 [DastResult::add_suggs $result 0 3]
proc fill {result index values quality} {
  set record [DastResult::get_sugg $result $index]
  for {set i 0} {$i < 3} {incr i} {DastSuggestion::set_rep $record $i [lindex $values $i]}
  DastSuggestion::set_quality $record $quality
}
proc values {result} {
  set all {}
  for {set i 0} {$i < [DastResult::get_num_suggs $result]} {incr i} {
    lappend all [join [DastSuggestion::get_rep [DastResult::get_sugg $result $i]] /]
  }
  return $all
}
fill $result 0 {a x 1} 100
fill $result 1 {b y 2} 220
fill $result 2 {c x 3} 150
DastResult::resort $result
is {b/y/2 c/x/3 a/x/1} [values $result]
DastResult::swap_suggs $result 0 2
is {a/x/1 c/x/3 b/y/2} [values $result]
DastResult::move_sugg $result 2 0
is {b/y/2 a/x/1 c/x/3} [values $result]
is 3 [DastResult::shuffle_suggs $result 0 3]
is 1 [DastResult::group_suggs $result 1]
is 0 [DastResult::dedup_suggs $result 1]
is 1 [DastResult::filter $result 1 x]
is 0 [DastResult::cut $result 5]
set other [DastResult 3]
DastResult::add_suggs $other 0 1
fill $other 0 {d z 4} 90
is 0 [DastResult::concat $result $other]
is 2 [DastResult::get_num_suggs $result]
set merged [DastResult 3]
DastResult::add_suggs $merged 0 1
fill $merged 0 {d z 4} 95
is 0 [DastResult::merge $result $merged]
is 2 [DastResult::remove_sugg $result 0]
set record [DastResult::get_sugg $result 0]
is 3 [DastSuggestion::get_num_strings $record]
is z [DastSuggestion::get_field_rep $record 1]
is 95 [DastSuggestion::get_quality $record]
is 1 [DastSuggestion::set_field_quality $record 1 77]
is 77 [DastSuggestion::get_field_quality $record 1]
is {0 77 0} [DastSuggestion::get_qualities $record]
DastSuggestion::set_record_info $record note
DastSuggestion::append_record_info $record more
is {note more} [DastSuggestion::get_record_info $record]
is 1 [DastSuggestion::set_field_info $record 0 remark]
is remark [DastSuggestion::get_field_info $record 0]
set inside [DastSuggestion::get_record $record]
is {d/z/4} [DastRecord::get_full_string $inside /]
DastResult::add_suggs $result 0 1
is "" [tie_type $inside]
set first [DastResult::get_sugg $result 0]
is 0 [DastSuggestion::copy $first [DastResult::get_sugg $result 1]]
is z [DastSuggestion::get_field_rep $first 1]
# A record of its own.
set own [DastRecord {one two}]
is 2 [DastRecord::get_num_strings $own]
is 0 [DastRecord::set_string $own 1 zwei]
is zwei [DastRecord::get_string $own 1]
is {one zwei} [DastRecord::get_strings $own]
is 0 [DastRecord::set_quality $own 200]
is 200 [DastRecord::get_quality $own]
is -1 [DastRecord::get_field_quality $own 0]
is 0 [DastRecord::set_field_quality $own 0 9]
is 9 [DastRecord::get_field_quality $own 0]
DastRecord::set_record_info $own note
DastRecord::append_record_info $own more
is {note more} [DastRecord::get_record_info $own]
is 0 [DastRecord::set_field_info $own 1 remark]
is remark [DastRecord::get_field_info $own 1]
is 1 [catch {DastRecord::set_quality $own 300}]
is 1 [catch {DastRecord::get_string $own 2}]
# Values of a field.
is -1 [DastResult::get_alt_field $result]
is -1 [DastResult::get_curr_field $result]
is 0 [DastResult::get_num_alts $result]
is 2 [DastResult::add_focus_cands $result 2 2]
is 0 [DastResult::set_rep_idx $result 2 0 gamma]
is 0 [DastResult::set_rep_idx $result 2 1 gamma]
is 0 [DastResult::set_quality_idx $result 2 0 99]
is 2 [DastResult::get_num_alts_field $result 2]
is 1 [DastResult::dedup_cands $result 2]
is 0 [DastResult::remove_cand_idx $result 2 0]
DastResult::cut_cands $result 2 0
is 0 [DastResult::get_num_alts_field $result 2]
DastResult::set_size_context $result 5
is 5 [DastResult::get_size_context $result]
DastResult::set_category $result SUGGEST
is SUGGEST [DastResult::get_category $result]
DastResult::set_reason $result why
DastResult::set_rule $result which
is {why which 0 1} [list [DastResult::get_reason $result] [DastResult::get_rule $result] [DastResult::can_undo $result] [DastResult::can_redo $result]]
foreach {class object} [list DastRecord $own DastResult $other DastResult $merged DastResult $result] {is 0 [~$class $object] $class}
