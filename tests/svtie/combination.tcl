# Combinations and flex forms: what is set is told.
source $tcl_scripts/people.tcl
set session [DastSession $base 0 $template]
is default [DastSession::get_combination_name $session 0]
set known [DastSession::get_combination $session default]
is default [DastCombination::get_name $known]
is 0 [DastCombination::get_id $known]
is 3 [DastCombination::get_num_fields $known]
is surname [DastCombination::get_field_name $known 1]
is 100 [DastCombination::get_field_weight $known 1]
is 0 [DastCombination::set_field_weight $known 1 40]
is 240 [DastCombination::get_sum_weights $known]
is {(given&surname&city)} [DastCombination::get_logic $known]
is -1 [DastCombination::get_collect_thresh $known]
set own [DastCombination::copy $known]
is 0 [DastCombination::set_logic $own (given&surname)]
is {(given&surname)} [DastCombination::get_logic $own]
DastCombination::set $own 200 30 7
is {200 30 7} [list [DastCombination::get_min_quality $own] [DastCombination::get_max_distance $own] [DastCombination::get_num_suggs $own]]
foreach {name value} {min_quality 111 max_distance 22 num_suggs 3} {
  DastCombination::set_$name $own $value
  is $value [DastCombination::get_$name $own]
}
set new [DastCombination fresh]
is 0 [DastCombination::get_num_fields $new]
is DareFlexConfig [tie_type [DastCombination::get_flex_config $own]]
set flex [DastSession::get_flex_config $session default]
foreach config [list $flex [set made [DareFlexConfig]]] {
  foreach {get set value} {
    get_min_value set_min_value 120 get_max_distance set_max_distance 33 get_num_suggestions set_num_suggestions 4
    get_num_regions set_num_regions 2 get_pessimism set_pessimism 6 get_extra_weight set_extra_weight 8
    do_completion set_completion 1 do_dedup set_dedup 1 use_region_detect set_region_detect 1
    do_completion set_completion 0 do_dedup set_dedup 0 use_region_detect set_region_detect 0
  } {
    DareFlexConfig::$set $config $value
    is $value [DareFlexConfig::$get $config] $get
  }
  DareFlexConfig::set_eval_model $config QUERY
  is QUERY [DareFlexConfig::get_eval_model $config]
  is 1 [catch {DareFlexConfig::set_eval_model $config NONE}]
}
~DareFlexConfig $made
is {0 0} [list [DareFlexConfig::get_num_inputs $flex] [DareFlexConfig::get_num_flex_output_fields $flex]]
~DastSession $session
# A form with inputs and outputs.
set template "[string range $template 0 end-2]free\t{\n\tFLEX_CONFIG\t{\n\t\tFIELDS\t{\n\t\t\tsurname\t{}\n\t\t}\n\t\tFF_FIELDS\t{\n\t\t\tcity\t{}\n\t\t}\n\t}\n}\n}\n"
set session [DastSession $base 0 $template]
set flex [DastSession::get_flex_config $session free]
is {1 1} [list [DareFlexConfig::get_num_inputs $flex] [DareFlexConfig::get_num_flex_output_fields $flex]]
is surname [DareFlexConfig::get_input_name $flex 0]
is city [DareFlexConfig::get_flex_output_field_name $flex 0]
foreach {set mode} {set_default_mode approx set_default_input_mode exact} {
  DareFlexConfig::$set $flex 0 $mode
  is $mode [DareFlexConfig::get_default_mode $flex 0]
}
foreach {set text} {set_default_string one set_default_input_string two} {
  DareFlexConfig::$set $flex 0 $text
  is $text [DareFlexConfig::get_default_string $flex 0]
}
foreach {set weight} {set_flex_output_field_weight 40 set_flex_form_output_weight 60} {
  DareFlexConfig::$set $flex 0 $weight
  is $weight [DareFlexConfig::get_flex_output_field_weight $flex 0]
}
foreach {set on} {set_flex_output_additive 1 set_flex_form_output_additive 0} {
  DareFlexConfig::$set $flex 0 $on
  is $on [DareFlexConfig::get_flex_output_additive $flex 0]
}
foreach {set relevance} {set_flex_output_relevance FF_ABSOLUTE set_flex_form_output_relevance FF_MANDATORY} {
  DareFlexConfig::$set $flex 0 $relevance
  is $relevance [DareFlexConfig::get_flex_output_relevance $flex 0]
}
is 1 [catch {DareFlexConfig::set_default_mode $flex 7 ?}]
DastSession::switch_active_combination $session free
is 1 [DastSession::get_num_flex_output_fields $session]
is city [DastSession::get_flex_output_field_name $session 0]
is 0 [DastSession::set_flex_form_output_weight $session 0 70]
is 70 [DastSession::get_flex_output_field_weight $session 0]
foreach {class object} [list DastCombination $own DastCombination $new DastSession $session DastBase $base TeraMap $map] {
  is 0 [~$class $object] $class
}
