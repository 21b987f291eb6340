# Bases: methods by their names, settings of the process, alias generators.
source $tcl_scripts/people.tcl
is 3 [DastBase::get_num_fields $base]
is city [DastBase::get_field_name $base 2]
is 1 [DastBase::get_field_index $base surname]
is 5 [DastBase::get_field_num_unique $base 1]
set copy [DastBase::from_buffer [DastBase::to_buffer $base]]
is [DastBase::to_buffer $base] [DastBase::to_buffer $copy]
is 0 [DastBase::dump $base $folder/people.base]
is 0 [DastBase::load -rep $silent $copy $folder/people.base]
set lines {}
proc keep {text} {lappend ::lines $text}
set reporter [AceReporter keep]
DastBase::print -rep $reporter $copy
is 1 [expr {[llength $lines] > 0}]
set file [open $folder/kinds.tab w]
puts $file "7\t1.5\tid7\teine zeile\twort"
close $file
set kinds [DastBase {whole part id line word} $folder]
foreach field {whole part id line word} {DastBase::assign_internal $kinds $field "ADVANCED|CHANGING|FULL|ORIGINAL"}
is 1 [expr {[DastBase::configure_integer $kinds whole] >= 0}]
is 1 [expr {[DastBase::configure_double $kinds part] >= 0}]
is 1 [expr {[DastBase::configure_ident $kinds id] >= 0}]
is 1 [expr {[DastBase::configure_phrase $kinds line $map] >= 0}]
is 1 [expr {[DastBase::configure_term $kinds word $map] >= 0}]
is 0 [DastBase::make -rep $silent $kinds $folder/kinds.tab]
is 0 [DastBase::make_access -rep $silent $kinds 0]
is 1 [DastBase::get_exact $kinds 0 7]
~DastBase $kinds
# Threads and parts, and back to what they were.
foreach {name value} {num_build_worker 2 multifield_collect_parts 3 multifield_eval_parts 3 flex_form_collect_parts 3
                      flex_form_eval_parts 3 single_field_parallel 1 flex_region_parallel 1} {
  set before [DastParallelResource::get_$name]
  DastParallelResource::set_$name $value
  is $value [DastParallelResource::get_$name] $name
  DastParallelResource::set_$name $before
}
is MAXIMUM [DastResource::default_model LEVENSHTEIN]
is 9 [DastResource::set_length_bias 0 2 9]
is 9 [DastResource::get_length_bias 1]
DastResource::set_length_bias 0 2 0
foreach name {bias_base_model var_model} {
  set before [DastResource::get_$name]
  DastResource::set_$name QUERY
  is QUERY [DastResource::get_$name]
  DastResource::set_$name $before
}
is 0 [DastResource::set_field_pessimism 3 5]
is 0 [DastResource::set_edit_detect 9 LEVENSHTEIN QUERY 100 20 30]
is 0 [catch {DastResource::set_edit_detect 9 NOTHING}]
is 1 [expr {[DastResource::set_geo_detect 9 100 10] >= 0}]
is 1 [expr {[DastResource::set_geo_detect_half_dist 9 200] >= 0}]
is 1 [expr {[DastResource::set_geo_detect_hit_circle 9 20] >= 0}]
DastResource::set_default_biggest_group 3
set result [TeraResult x 0]
is 3 [TeraResult::get_biggest $result]
DastResource::set_default_biggest_group 10000
# What else a value may be called.
set generator [DastWrapAliasGenerator]
is 0 [DastWrapAliasGenerator::init $generator FIRSTNAME "-alias_penalty 7"]
is {Karl Heinz Maria Karl-Heinz {Heinz Maria}} [DastWrapAliasGenerator::generate_aliases $generator "Karl-Heinz Maria"]
is {7 7 7 12 12} [DastWrapAliasGenerator::get_penalties $generator "Karl-Heinz Maria"]
is 1 [catch {DastWrapAliasGenerator::init -rep $silent $generator NICKNAME}]
foreach {class object} [list DastWrapAliasGenerator $generator TeraResult $result AceReporter $reporter DastBase $copy DastBase $base \
                             TeraMap $map] {is 0 [~$class $object] $class}
