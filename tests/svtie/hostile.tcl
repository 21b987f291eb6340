# Any words give a result or an error: commands with random words from a pool of handles, numbers, texts and names.
source $tcl_scripts/people.tcl
cd $folder ;# where files with random names do no harm
expr {srand(20261122)}
proc pick {list} {return [lindex $list [expr {int(rand() * [llength $list])}]]}
set config [TeraMapConfig]
set edit [TeraEdit $map]
TeraEdit::from_string_array $edit {abc abd xyz "a\{b" ""} $map
set index [TeraIndex]
TeraIndex::list_make $index {one two three}
set session [DastSession $base 0 $template]
DastSession::update $session surname Meier
set result [DastResult 3]
DastResult::add_suggs $result 0 2
set pool [list $config $map $edit $index $base [DastBase {a b} $folder] $session [DastSession::clone $session] $result [TeraWord abc $map] [TeraResult abc 100] [TeraStandardQuery a] \
               [DastSessionManager] [DareDataManager] [DareLdbFile] [TeraMap::get_ident_map]]
set words {0 1 -1 2 255 4294967295 99999999999999 1e300 abc "" "-help" "-rep" {a b c} "\{" EXACT MAXIMUM ?? "a|b" {? ?}
           "\u00e4\ud83d\ude00" -5 100 given surname city Anna Meier Bern default ? !}
# Left out: what writes files, measures for seconds, or changes the process or the commands themselves.
set skipped {measure_speed|set_rejects|extract$|Diff::update$|odbc|add_file|DamoExtract$|set_map|dump|make|set_trace|set_default_num_threads|set_as_default|clear_default|set_progress|
             |::write|cancel|set_num_|terminate_thread|make_thread_safe|set_resource_path|^~|built|version|parallel|
             |set_.*_parts|get_default_reporter|length_bias|::log|conf_opt|managed_file|^EbosLog::|^sv_|WriteFileCache$|_analysis|SVTimeAnalysis|
             |local_mode|_model|detect|pessimism|biggest_group|ace_alloc|^DamoDiffMaker$}
set skipped [regsub -all {\s*\|\s*\|?} [string trim $skipped] |]
set commands {}
foreach module [tie_info] {
  foreach entry [tie_info $module] {
    set name [lindex $entry 0]
    if {![string match Tie::* $name] && ![regexp $skipped $name]} {lappend commands $name}
  }
}
is 1 [expr {[llength $commands] > 200}]
for {set round 0} {$round < 8000} {incr round} {
  set call [pick $commands]
  foreach declared [lrange [Tie::$call] 1 end] {
    # Mostly an object of the class that is asked for, so that the kernel is reached.
    set fitting {}
    if {rand() < 0.8} {
      foreach handle $pool {if {[tie_type $handle] eq [lindex $declared 0]} {lappend fitting $handle}}
    }
    if {[lindex $declared 1] eq "-rep"} continue
    if {[llength $declared] > 2 && rand() < 0.3} break
    lappend call [pick [expr {[llength $fitting] > 0 ? $fitting : [concat $words $pool]}]]
  }
  if {![catch $call answer] && [string is wideinteger -strict $answer] && [tie_type $answer] ne ""} {
    if {[llength $pool] < 60} {
      lappend pool $answer
    } elseif {$answer ni $pool} {
      catch {~[tie_type $answer] $answer} ;# refused where it belongs to another one
    }
  }
}
# All that was made can be deleted.
foreach handle $pool {catch {~[tie_type $handle] $handle}}
