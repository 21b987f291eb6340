# Words in an automaton: ways to build it, to ask it, and teasers.
set config [TeraMapConfig]
TeraMapConfig::set_tokens $config A-Z
TeraMapConfig::map_upper $config
set map [TeraMapConfig::compile $config]
~TeraMapConfig $config
set silent [AceReporter::get_null_reporter]
set auto [TeraAuto $map]
is 0 [TeraAuto::from_string_array $auto {haupt bahn hof haus hafen} $map]
is 6 [TeraAuto::get_capacity $auto]
is 6 [TeraAuto::get_num_paths $auto]
is {HAFEN HAUPT HAUS} [TeraAuto::complete $auto ha]
is 2 [TeraAuto::get_infos $auto hof]
is HOF [TeraAuto::get_string $auto 2]
is "" [TeraAuto::get_entry $auto 0]
is 1 [expr {[TeraAuto::get_features $auto] >= 0}]
is TeraMap [tie_type [TeraAuto::get_tera_map $auto]]
set result [TeraResult haaus 100]
is 1 [TeraAuto::recall $auto $result]
is HAUS [TeraResult::candidates $result]
set exact [TeraResult hof 255]
is 1 [TeraAuto::exact $auto $exact]
set following [TeraResult ha 0]
is 3 [TeraAuto::interval $auto $following 10]
is {HAFEN HAUPT HAUS} [TeraResult::candidates $following]
set both [TeraResult bahnhof 100]
is 1 [TeraAuto::decompose $auto $both]
is {{BAHN HOF}} [TeraResult::candidates $both]
set graph [TeraScanGraph "haus hafen"]
is 3 [TeraAuto::scan $auto $graph]
set reporter [AceReporter keep]
set lines {}
proc keep {text} {lappend ::lines $text}
TeraAuto::print -rep $reporter $auto
is 1 [expr {[llength $lines] > 0}]
set file [open $folder/words.txt w]
puts $file "eins\nzwei"
close $file
set built [TeraAuto::factory]
is 0 [TeraAuto::make $built $folder/words.txt $map]
is ZWEI [TeraAuto::get_string $built 1]
is 0 [TeraAuto::dump $built $folder/words.auto]
set mapped [TeraAuto]
is 0 [TeraAuto::load $mapped $folder/words.auto]
set copy [TeraAuto::from_buffer [TeraAuto::to_buffer $mapped]]
is [TeraAuto::to_buffer $built] [TeraAuto::to_buffer $copy]
set index [TeraIndex]
TeraIndex::list_make $index {drei vier}
is 0 [TeraAuto::from_tera_index $built $index $map]
is VIER [TeraAuto::get_string $built 1]
set teaser [DastTeaser $map <i> </i> 100]
is 1 [DastTeaser::add_strings $teaser {hafen} hafen]
is 1 [DastTeaser::add_result $teaser $result]
is 2 [DastTeaser::num_matches $teaser]
is {am <i>hafen</i> ein <i>haus</i>} [DastTeaser::generate_teaser $teaser "am hafen ein haus"]
foreach {class object} [list DastTeaser $teaser TeraScanGraph $graph TeraResult $result TeraResult $exact TeraResult $following \
                             TeraResult $both TeraAuto $auto TeraAuto $built TeraAuto $mapped TeraAuto $copy TeraIndex $index \
                             AceReporter $reporter TeraMap $map] {
  is 0 [~$class $object] $class
}
