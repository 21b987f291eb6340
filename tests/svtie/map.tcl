# How maps are made, and what they say of texts.
set config [TeraMapConfig utf-8]
is 5 [TeraMapConfig::set_tokens $config "a-c "]
is 6 [TeraMapConfig::add_token $config d]
is 6 [TeraMapConfig::num_token $config]
is 3 [TeraMapConfig::set_map $config a "äàâ"]
set file [open $folder/more.map w]
puts $file "xyz\tb"
close $file
is 3 [TeraMapConfig::parse_map_file $config $folder/more.map]
is 0 [TeraMapConfig::map_specials $config ( ) ? * | ,]
set map [TeraMapConfig::compile $config]
is bab [TeraMap::normalize $map "xäyq"]
is 2 [TeraMap::alt_len $map (a,bb)c]
is 3 [TeraMap::tok_len $map abc]
is 6 [TeraMap::num_token $map]
is 0 [TeraMap::is_normalized $map xa]
is 1 [TeraMap::is_normalized $map abc]
is 0 [TeraMap::compare $map xa ba]
is 1 [TeraMap::is_equal $map abca a?ca]
is 1 [TeraMap::contains $map bc abcd]
is 191 [TeraMap::cmp $map abcd abcc]
is 255 [TeraMap::mcmp $map ab|cd cd|ab]
is {2 4} [TeraMap::localize $map abcd cd]
is {ab cd} [TeraMap::decompose $map "ab cd" 5 " "]
is {first <i>abc</i> then} [TeraMap::make_teaser $map abc "first abc then" <i> </i> 100 10]
set image [TeraMap::to_buffer $map]
set copy [TeraMap::from_buffer $image]
is $image [TeraMap::to_buffer $copy]
~TeraMap $map
~TeraMap $copy
# Each step of a configuration, by a text that it changes.
foreach {step text} {
  map_upper aBc map_lower aBc deaccentuate é map_spaces "a\u00a0b" map_whitespaces "a\tb" map_currency € expand_compat ﬁ
  expand_accents é any_to_latin ж expand_umlauts ä map_digits ٣
} {
  set steps [TeraMapConfig]
  TeraMapConfig::set_tokens $steps "A-Za-z0-9 \u0301"
  TeraMapConfig::$step $steps
  set made [TeraMapConfig::compile $steps]
  lappend normal $step [TeraMap::normalize $made $text]
  ~TeraMap $made
  ~TeraMapConfig $steps
}
is {map_upper ABC map_lower abc deaccentuate e map_spaces ab map_whitespaces {a b} map_currency E expand_compat fi expand_accents é any_to_latin ZH expand_umlauts ae map_digits {}} [set normal]
set steps [TeraMapConfig]
TeraMapConfig::set_tokens $steps A-Z
is 0 [TeraMapConfig::complex_mappings $steps "-map_upper -map_accents"]
is "-other_scripts_to_latin" [TeraMapConfig::script_flags "\u0e01"]
is 0 [TeraMapConfig::map_globs $steps "?*"]
is 0 [TeraMapConfig::map_glob_chars $steps 1]
set made [TeraMapConfig::compile $steps]
is E [TeraMap::normalize $made "é"]
is 1 [TeraMap::is_equal $made abc A?C]
foreach script {greek cyrillic kanji arabic hebrew} {
  set known [TeraMapConfig::compile_$script]
  is 1 [expr {[TeraMap::num_token $known] > 10}] $script
  ~TeraMap $known
}
set empty [TeraMap]
is 0 [TeraMap::num_token $empty]
is 2 [TeraMap::tok_len [TeraMap::get_nospace_map] "a b"]
set lines {}
proc keep {text} {lappend ::lines $text}
set reporter [AceReporter keep]
TeraMap::print -rep $reporter $made
is 1 [expr {[llength $lines] > 0}]
foreach {class object} [list TeraMap $made TeraMap $empty TeraMapConfig $steps TeraMapConfig $config AceReporter $reporter] {
  is 0 [~$class $object]
}
