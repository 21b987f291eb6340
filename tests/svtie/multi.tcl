# Lines of words.
source $tcl_scripts/word_map.tcl
set multi [TeraMulti $map " "]
is 0 [TeraMulti::from_string_array -rep $silent $multi {{alte strasse} {neue strasse} {hauptbahnhof}} $map " "]
is 3 [TeraMulti::num_records $multi]
is 4 [TeraMulti::get_num_words $multi]
is { } [TeraMulti::get_sep $multi]
is {neue strasse} [TeraMulti::get_multiword $multi 1]
is TeraMap [tie_type [TeraMulti::get_tera_map $multi]]
set result [TeraResult "strase alte" 100]
is 2 [TeraMulti::recall $multi $result]
is {neue <b>strasse</b>} [lindex [TeraResult::candidates $result] 0]
is 3 [TeraMulti::write $multi $folder/lines.txt]
is 4 [TeraMulti::words $multi $folder/words.txt]
is {alte strasse} [TeraMulti::decompose $multi altestrasse]
set lines {}
proc keep {text} {lappend ::lines $text}
set reporter [AceReporter keep]
TeraMulti::stat -rep $reporter $multi
is 1 [expr {[llength $lines] > 0}]
is 0 [TeraMulti::dump $multi $folder/lines.multi]
set mapped [TeraMulti::factory]
is 0 [TeraMulti::load $mapped $folder/lines.multi]
set copy [TeraMulti::from_buffer [TeraMulti::to_buffer $mapped]]
is [TeraMulti::to_buffer $multi] [TeraMulti::to_buffer $copy]
is 0 [TeraMulti::make -rep $silent $copy $folder/lines.txt $map]
set index [TeraIndex]
TeraIndex::list_make $index {{eine zeile}}
is 0 [TeraMulti::from_tera_index -rep $silent $copy $index $map]
is {eine zeile} [TeraMulti::get_multiword $copy 0]
foreach {class object} [list TeraResult $result TeraMulti $multi TeraMulti $mapped TeraMulti $copy TeraIndex $index AceReporter $reporter \
                             TeraMap $map] {is 0 [~$class $object] $class}
