# Sources, fields and statistics: what dialogues have not asked for.
source $tcl_scripts/files.tcl
set silent [AceReporter::get_null_reporter]
AceReporter::set_as_default $silent
write table.tab "a\tb\nx\ty\n"
set input [DamoInput::standard $folder/table.tab \t 2]
is 4 [DamoInput::read_header $input]
is 2 [DamoInput::get_num_fields $input]
is 0 [DamoInput::set_num_fields $input 2]
is {x y} [DamoInput::read_record $input]
is 0 [DamoInput::get_error_count $input]
is 0 [DamoInput::is_delete $input]
~DamoInput $input
set input [DamoInput::standard $folder/table.tab]
is 1 [expr {[DamoInput::partition $input 0 2] >= 0}]
~DamoInput $input
write lines.json "{\"g\":\"Anna\"}\n{\"g\":\"Urs\"}\n"
set input [DamoInput::json_lines $folder/lines.json g]
is Anna [DamoInput::read_record $input]
~DamoInput $input
write fixed.txt "ab  cd\nefg hi\n"
set input [DamoInput::fixed_width $folder/fixed.txt {4 6}]
is {{ab  } cd} [DamoInput::read_record $input]
~DamoInput $input
is 1 [catch {DamoInput::odbc "nothing there" "select 1"}]
# A field of two others, transformed, between texts.
set upper [TeraTransform::factory METAPHONE]
foreach {kind call} {
  simple {DamoExtract::simple_file $extract $folder/table.tab}
  fixed {DamoExtract::fixed_width $extract $folder/fixed.txt {4 6}}
  lines {DamoExtract::json_lines $extract $folder/both.json {g s}}
  json {DamoExtract::json_file $extract $folder/deep.json p {g s}}
  xml {DamoExtract::xml_file $extract $folder/both.xml /p/r {@g s}}
} {
  write both.json "{\"g\":\"Anna\",\"s\":\"Berg\"}\n"
  write deep.json "{\"p\":\[{\"g\":\"Anna\",\"s\":\"Berg\"}\]}"
  write both.xml "<p><r g='Anna'><s>Berg</s></r></p>"
  set extract [DamoExtract 2 1 $folder/out.$kind]
  set whole [DamoField whole]
  foreach {name source} {first 0 second 1} {
    set part [DamoField $name]
    DamoField::set_source $part $source
    if {$source == 1} {DamoField::set_transform $part $upper}
    DamoField::add_subfield $whole $part
    lappend parts $part
  }
  DamoField::set_concat $whole +
  DamoField::set_use_cache $whole
  DamoExtract::add_field $extract $whole
  DamoExtract::set_rejects $extract $folder/rejects.txt
  eval $call
  lappend extracted [DamoExtract::extract $extract] [content out.$kind]
  ~DamoExtract $extract
  ~DamoField $whole
  foreach part $parts {~DamoField $part}
  set parts {}
}
is {2 {a+B
x+
} 2 {ab  +KT
efg +H
} 1 {Anna+BRK
} 1 {Anna+BRK
} 1 {Anna+BRK
}} [set extracted]
set extract [DamoExtract 2 1 $folder/out.odbc]
DamoExtract::set_for_build $extract
set decode [TeraTransform::factory METAPHONE]
DamoExtract::set_encoding $extract $decode
set field [DamoField one]
DamoField::set_source $field 0
DamoField::set_field_sep $field ,
DamoField::set_use_control $field
DamoExtract::add_field $extract $field
DamoExtract::odbc_conn $extract "nothing there" "select 1"
is 1 [catch {DamoExtract::extract $extract}]
~DamoExtract $extract
set stat [DamoStatistic {a b}]
DamoStatistic::add_line $stat "x\ty"
DamoStatistic::add_fields $stat {x z}
set more [DamoStatistic {a b}]
DamoStatistic::add_line $more "u\tv\tw"
is 0 [DamoStatistic::merge $stat $more]
is {3 1} [list [DamoStatistic::get_num_lines $stat] [DamoStatistic::get_num_bad_lines $stat]]
is 1 [expr {[DamoStatistic::write_file $stat $folder/stat.txt] >= 0}]
set diff [DamoDiff 0 2]
is 0 [DamoDiff::set_del_file $diff $folder/deleted.txt]
foreach {class object} [list DamoDiff $diff DamoStatistic $stat DamoStatistic $more DamoField $field TeraTransform $upper TeraTransform $decode] {
  is 0 [~$class $object] $class
}
# No field contains itself; what needs each other is no circle.
set outer [DamoField outer]
set inner [DamoField inner]
is 0 [DamoField::add_subfield $outer $inner]
is 1 [catch {DamoField::add_subfield $inner $outer}]
is 0 [~DamoField $inner]
is "" [tie_type $outer]
