AceReporter::set_as_default [AceReporter::get_null_reporter]
source $tcl_scripts/files.tcl
set table {{Anna {Meier, jun.} 3} {Jürg Müller 17} {Zoë Weber 5}}

# One table in several notations gives the same records.
write people.csv "Anna,\"Meier, jun.\",3\nJürg,Müller,17\nZoë,Weber,5\n"
write people.tab "Anna\tMeier, jun.\t3\nJürg\tMüller\t17\nZoë\tWeber\t5\n"
write people.json "{\"p\":\[{\"g\":\"Anna\",\"s\":\"Meier, jun.\",\"n\":\"3\"},{\"g\":\"Jürg\",\"s\":\"Müller\",\"n\":\"17\"},{\"g\":\"Zoë\",\"s\":\"Weber\",\"n\":\"5\"}\]}"
write people.xml "<p><r g='Anna'><s>Meier, jun.</s><n>3</n></r><r g='Jürg'><s>Müller</s><n>17</n></r><r g='Zoë'><s>Weber</s><n>5</n></r></p>"
foreach input [list [DamoInput::csv $folder/people.csv] [DamoInput::standard $folder/people.tab] \
                    [DamoInput::json $folder/people.json p {g s n}] [DamoInput::xml $folder/people.xml /p/r {@g s n}]] {
  set records {}
  while {[llength [set record [DamoInput::read_record $input]]] > 0} {lappend records $record}
  is $table $records
  is 1 [DamoInput::eof $input]
  ~DamoInput $input
}
is 1 [catch {DamoInput::csv $folder/nothing.csv}]
is "Error in 2. Argument of DamoInput::fixed_width" [failure {DamoInput::fixed_width $folder/people.tab {1 x}}]

# Extraction with a transform, statistics of what came in and went out; fields go with what needs them.
set extract [DamoExtract 3 2 $folder/out.txt]
set name [DamoField name]
DamoField::set_source $name 1
set number [DamoField number]
DamoField::set_source $number 2
DamoExtract::add_field $extract $name
DamoExtract::add_field $extract $number
DamoExtract::csv_file $extract $folder/people.csv
is 1 [catch {DamoExtract::simple_file $extract $folder/people.tab}]
set came [DamoStatistic {given surname number}]
set went [DamoStatistic {name number}]
is 3 [DamoExtract::extract $extract 0 "" 0 $came $went]
is "Meier, jun.\t3\nMüller\t17\nWeber\t5\n" [content out.txt]
is {3 3} [list [DamoStatistic::get_num_lines $came] [DamoStatistic::get_num_lines $went]]
is 0 [expr {[DamoStatistic::write_page $went $folder/page.txt] < 0}]
~DamoField $name
is "" [tie_type $extract]

# Differences that turn the old records into the new ones.
write new.tab "Anna\tMeier, jun.\t4\nZoë\tWeber\t5\nUrs\tFrei\t1\n"
set maker [DamoDiffMaker {0 1} 3]
DamoDiffMaker::add_old $maker $folder/people.tab
DamoDiffMaker::add_new $maker $folder/new.tab
is 1 [expr {[DamoDiffMaker::make $maker $folder/people.dif] > 0}]
set diff [DamoDiff {0 1} 3]
DamoDiff::add_file $diff $folder/people.tab $folder/now.tab
is 1 [expr {[DamoDiff::add_diff $diff $folder/people.dif] > 0}]
DamoDiff::update $diff
is [lsort [split [content new.tab] \n]] [lsort [split [content now.tab] \n]]
foreach {class object} [list DamoDiff $diff DamoDiffMaker $maker DamoStatistic $came DamoStatistic $went DamoField $number] {
  ~$class $object
}
