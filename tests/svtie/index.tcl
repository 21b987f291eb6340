# Arrays of strings, and indexes made from them; results and graphs by their parts.
source $tcl_scripts/word_map.tcl
set index [TeraIndex::factory]
set file [open $folder/words.txt w]
puts $file "berg\nauto\nchor"
close $file
is 0 [TeraIndex::make $index $folder/words.txt]
is 0 [TeraIndex::resort $index ascii]
is 1 [TeraIndex::search $index berg]
is 0 [TeraIndex::compress $index]
is 3 [TeraIndex::get_size $index]
is 0 [TeraIndex::dump $index $folder/words.index]
set mapped [TeraIndex]
is 1 [expr {[TeraIndex::load $mapped $folder/words.index] >= 0}]
set copy [TeraIndex::from_buffer [TeraIndex::to_buffer $mapped]]
is chor [TeraIndex::get_line $copy 2]
set edit [TeraEdit::factory]
is 0 [TeraEdit::from_tera_index -rep $silent $edit $index $map]
is 5 [TeraEdit::get_max_length $edit]
is 1 [expr {[TeraEdit::get_features $edit] >= 0}]
is TeraMap [tie_type [TeraEdit::get_tera_map $edit]]
set own [TeraEdit::get_map_config $edit]
is [TeraMap::to_buffer $map] [TeraMap::to_buffer $own]
is 3 [TeraEdit::write $edit $folder/written.txt]
is 1 [TeraEdit::write_filter $edit $folder/filter.txt]
is 32 [string length [TeraEdit::match $edit {bergg chor x} 5 100]]
set lines {}
proc keep {text} {lappend ::lines $text}
set reporter [AceReporter keep]
TeraEdit::print -rep $reporter $edit
set result [TeraResult bergg 100]
is 1 [TeraEdit::recall $edit $result LEVENSHTEIN MAXIMUM 8]
set entries {}
for {set slot 0} {$slot < [TeraEdit::get_num_entries $edit]} {incr slot} {
  is [TeraEdit::get_entry $edit $slot] [TeraEdit::get_string $edit $slot]
  lappend entries {*}[TeraEdit::get_entry $edit $slot]
}
is {auto berg chor} [lsort $entries]
is 1 [TeraEdit::resolve $edit $result]
is 0 [TeraEdit::make -rep $silent $edit $folder/words.txt $map]
is 128 [TeraEdit::get_num_entries $edit]
set found [TeraResult xx 100 7 50]
is 1 [TeraResult::add $found 200 0]
is 1 [TeraResult::add $found 220 1]
is 2 [TeraResult::add_strings $found $index]
is 0 [TeraResult::low_first $found]
is {200 220} [TeraResult::qualities $found]
is {auto berg} [TeraResult::candidates $found]
is 2 [TeraResult::num_cands $found]
is {170 50 7} [list [TeraResult::get_min_value $found] [TeraResult::get_max_dist $found] [TeraResult::get_max_cands $found]]
is 220 [TeraResult::get_max_value $found]
is 1 [expr {[TeraResult::get_biggest $found] > 0}]
is xx [TeraResult::get_string $found]
is 0 [TeraResult::is_unreliable $found]
set group [TeraResult::get_first_group $found]
is {200 1 1} [list [TeraCandGroup::get_value $group] [TeraCandGroup::get_num_cands $group] [TeraCandGroup::get_num_better $group]]
set cand [TeraCandGroup::get_first_cand $group]
is {0 0} [list [TeraCand::get_entry $cand] [TeraCand::get_num_infos $cand]]
TeraResult::print -rep $reporter $found
is 2 [TeraResult::expand $found]
set graph [TeraScanGraph "berg auto" 100 5 60]
is {0 128 5 60} [list [TeraScanGraph::get_num_nodes $graph] [TeraScanGraph::get_min_value $graph] [TeraScanGraph::get_num_cands $graph] [TeraScanGraph::get_max_dist $graph]]
is {{berg auto} 0 0} [list [TeraScanGraph::get_query $graph] [TeraScanGraph::get_default_id $graph] [TeraScanGraph::is_artificial $graph]]
is {1 0 0 0} [list [TeraScanGraph::has_char_positions $graph] [TeraScanGraph::has_literal_matches $graph] [TeraScanGraph::has_original_edges $graph] [TeraScanGraph::does_use_collection $graph]]
set auto [TeraAuto $map]
TeraAuto::from_string_array $auto {berg auto} $map
TeraAuto::scan $auto $graph
set node [TeraScanGraph::get_node $graph 0]
is {2 0} [list [TeraScanNode::get_num_edges $node] [TeraScanNode::get_char_pos $node]]
set edge [TeraScanNode::get_edge_list $node]
is {2 {berg auto}} [list [TeraScanEdge::get_target $edge] [TeraScanEdge::get_query $edge]]
is "" [TeraResult::candidates [TeraScanEdge::get_result $edge]]
is 1 [catch {while 1 {set edge [TeraScanEdge::get_next $edge]}}]
foreach {class object} [list TeraResult $found TeraScanGraph $graph TeraAuto $auto TeraEdit $edit TeraIndex $index \
                             TeraIndex $mapped TeraIndex $copy TeraMap $own TeraMap $map AceReporter $reporter] {is 0 [~$class $object] $class}
