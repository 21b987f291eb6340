set silent [AceReporter::get_null_reporter]
AceReporter::set_as_default $silent

# A map, an index and a result, as in docs: the best word comes first, and equal qualities are those of TeraWord.
set config [TeraMapConfig]
is 27 [TeraMapConfig::set_tokens $config A-Z]
TeraMapConfig::map_upper $config
TeraMapConfig::deaccentuate $config
set map [TeraMapConfig::compile $config]
~TeraMapConfig $config
is MULLER [TeraMap::normalize $map "Müller"]
is {2 3} [TeraMap::localize $map "abcd" "c"]

set words {Mayer Meier Maier Müller Weber Meyer}
set edit [TeraEdit $map]
is 0 [TeraEdit::from_string_array $edit $words $map]
set result [TeraResult "meyer" 100]
is 6 [TeraEdit::recall $edit $result LEVENSHTEIN MAXIMUM]
TeraResult::high_first $result
is Meyer [lindex [TeraResult::candidates $result] 0]
set word [TeraWord meyer $map]
foreach name [TeraResult::candidates $result] quality [TeraResult::qualities $result] {
  is [TeraWord::leven $word $name] $quality $name
}
# Walked by groups, each candidate has its place in the list as attribute.
set found {}
for {set group [TeraResult::get_first_group $result]} {$group ne ""} {
  if {[catch {TeraCandGroup::get_next $group} group]} {set group ""}
} {
  for {set cand [TeraCandGroup::get_first_cand $group]} {$cand ne ""} {
    if {[catch {TeraCand::get_next $cand} cand]} {set cand ""}
  } {
    is [TeraCand::represent $cand] [lindex $words [TeraCand::get_infos $cand]]
    lappend found [TeraCand::represent $cand]
  }
}
is [TeraResult::candidates $result] $found
# What belongs to a result ends when it changes.
set cand [TeraResult::get_best_cand $result]
TeraResult::cut $result 200
is "Error in 1. Argument of TeraCand::represent" [failure {TeraCand::represent $cand}]

# Candidates have their places in the index: they end with it.
set doubled [TeraEdit $map]
TeraEdit::from_string_array $doubled {same same other} $map
set both [TeraResult same 200]
TeraEdit::recall $doubled $both
is {0 1} [TeraCand::get_infos [TeraResult::get_best_cand $both]]
set merged [TeraResult same 200]
TeraResult::merge_unresolved $merged $both
~TeraEdit $doubled
is "" [tie_type $both][tie_type $merged]

# An image and a file give an equal index; a damaged image gives none.
set image [TeraEdit::to_buffer $edit]
set copy [TeraEdit::from_buffer $image]
is [TeraEdit::get_num_entries $edit] [TeraEdit::get_num_entries $copy]
is 1 [catch {TeraEdit::from_buffer [string range $image 0 100]}]
is 0 [TeraEdit::dump $edit $folder/words.edit]
set mapped [TeraEdit]
is 0 [TeraEdit::load $mapped $folder/words.edit 1]
is $image [TeraEdit::to_buffer $mapped]

# Texts outside of what Tcl keeps in three bytes come back whole, and zeros are refused.
set identity [TeraMap::get_ident_map]
set index [TeraIndex]
set smile "x\ud83d\ude00y"
TeraIndex::list_make $index [list $smile "plain"]
is $smile [TeraIndex::get_line $index 0]
is 6 [TeraMap::tok_len $identity $smile 1]
is 1 [catch {TeraMap::tok_len $identity "a\u0000b"}]

# Deleting a map deletes the words that need it; what belongs to the library is not deleted.
set other [TeraMap::copy_instance $map]
set needing [TeraWord weber $other]
~TeraMap $other
is "Error in 1. Argument of TeraWord::length" [failure {TeraWord::length $needing}]
is "Error in 1. Argument of ~TeraMap" [failure {~TeraMap $identity}]

foreach {class object} [list TeraWord $word TeraResult $result TeraEdit $edit TeraEdit $copy TeraEdit $mapped \
                             TeraMap $map TeraIndex $index] {
  is 0 [~$class $object]
  is "" [tie_type $object]
}
foreach known [list $identity $silent] {is 1 [expr {[tie_type $known] ne ""}]}
