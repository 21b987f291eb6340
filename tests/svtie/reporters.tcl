# A procedure gets messages, another one events with their codes.
set texts {}
set events {}
proc keep {text} {lappend ::texts $text}
proc keep_event {text code} {lappend ::events $code $text}
set reporter [AceReporter keep keep_event]
AceReporter::set_as_default $reporter
AceReporter::print $reporter "a\u00fc\ud83d\ude00"
is [list "a\u00fc\ud83d\ude00"] $texts
set base [DastBase {a b} $folder]
catch {DastBase::configure $base a NOTHING}
is wSORV_0000 [lindex $events 0]
is 1 [string match "No method 'NOTHING'; there are *EDIT*" [lindex $events 1]]

# What worker threads report comes in this thread: at the end of a command, or while events are waited for.
set file [open $folder/records.tab w]
for {set i 0} {$i < 3000} {incr i} {puts $file "value$i\tother[expr {$i * 7 % 100}]"}
close $file
set map [TeraMap::get_ident_map]
foreach field {a b} {
  DastBase::assign_internal $base $field "ADVANCED|CHANGING|FULL|ORIGINAL"
  DastBase::configure $base $field EDIT $map
}
DastParallelResource::set_num_build_worker 3
AceReporter::set_progress 1
set texts {}
is 0 [DastBase::make $base $folder/records.tab]
is 0 [DastBase::make_all_access $base]
is 1 [expr {[llength $texts] > 5}]
set before [llength $texts]
after 20 {set done 1}
vwait done
is $before [llength $texts] "nothing was left behind"
AceReporter::set_progress 0
DastParallelResource::set_num_build_worker 1

# One command's own reporter; and one that fails makes an error of the command.
set other {}
proc keep_other {text} {lappend ::other $text}
set own [AceReporter keep_other]
set texts {}
TeraIndex::print -rep $own [set index [TeraIndex]]
is {1 0} [list [expr {[llength $other] > 0}] [llength $texts]]
proc broken {text} {error "no room"}
set bad [AceReporter broken]
is 1 [catch {TeraIndex::print -rep $bad $index} message]
is "Internal Exception in tied function 'TeraIndex::print', Reporter failed: no room" [string trim $message]

# What a procedure calls cannot end or use what the command that reports works with; what is reported while a
# procedure runs does not come to it again.
set refused {}
proc disturb {text} {
  set ::refused [list [failure {~AceReporter $::disturbing}] [failure {~TeraIndex $::index}] \
                      [failure {TeraIndex::get_size $::index}] [TeraMap::tok_len $::map abc]]
}
set disturbing [AceReporter disturb]
TeraIndex::print -rep $disturbing $index
is [list "Error in 1. Argument of ~AceReporter" "Error in 1. Argument of ~TeraIndex" \
         "Error in 1. Argument of TeraIndex::get_size" 3] $refused
set heard {}
proc repeat {text} {
  lappend ::heard $text
  SVUtils::log "again\n"
}
set repeating [AceReporter repeat]
AceReporter::set_as_default $repeating
SVUtils::log first
is first $heard
AceReporter::set_as_default $reporter

# The default that is deleted is none any more.
~TeraIndex $index
~DastBase $base
foreach made [list $own $bad $disturbing $repeating $reporter] {~AceReporter $made}
SVUtils::log "nobody hears this"
