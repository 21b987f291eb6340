# Each measure of words by its value, and where it marks.
set map [TeraMap::get_ident_map]
set word [TeraWord meier $map]
is 5 [TeraWord::length $word]
foreach measure {leven half_lev count lcs biseq bigrams wildcard subset superset blockedit subword scan} {
  lappend values $measure [TeraWord::$measure $word "mayer meir"]
}
is {leven 102 half_lev 102 count 76 lcs 102 biseq 76 bigrams 85 wildcard 0 subset 76 superset 102 blockedit 102 subword 102 scan 102} [set values]
foreach measure {leven count lcs subset subword scan} {lappend marked $measure [TeraWord::${measure}_mark $word "mayer meir"]}
is {leven {<b>m</b>ay<b>e</b>r m<b>e</b>i<b>r</b>} count {<b>m</b>ay<b>er</b> meir} lcs {<b>m</b>ay<b>e</b>r me<b>ir</b>} subset {<b>m</b>ay<b>er</b> meir} subword {mayer <b>meir</b>} scan {mayer <b>meir</b>}} [set marked]
is 2 [TeraWord::get_num_common $word remi]
is {{der } meyer {} ////==o==} [TeraWord::localize_result $word "der meyer" LONG 0x4000]
is {...is a (meyer) s...} [TeraWord::make_teaser $word "there is a meyer somewhere" ( ) 20 5]
set words [TeraWords {anna meier} $map]
is 2 [TeraWords::num_words $words]
is 255 [TeraWords::leven $words "anna"]
is 153 [TeraWords::lcs $words "mayer"]
is 255 [TeraWords::count $words "meier"]
is 230 [TeraWords::phrase $words {meyer anna}]
set split [TeraWords::alt_create_instance "anna|meier|c" | $map]
is 3 [TeraWords::num_words $split]
set query [TeraStandardQuery anna LEVENSHTEIN MAXIMUM $map]
is 191 [TeraStandardQuery::compare $query anne]
is anna [TeraStandardQuery::display $query]
AceReporter::set_as_default [AceReporter::get_null_reporter]
is 1 [expr {[TeraWord::measure_speed] > 0}]
foreach {class object} [list TeraStandardQuery $query TeraWords $words TeraWords $split TeraWord $word] {is 0 [~$class $object]}
