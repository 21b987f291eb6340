# Every command answers a signature and a usage under its other name, and lists what it needs when that is missing.
set commands {}
foreach module [tie_info] {
  foreach entry [tie_info $module] {
    set name [lindex $entry 0]
    if {![string match Tie::* $name] && ![string match *::version $name] && ![string match *::built $name] &&
        ![string match *::cancel $name]} {lappend commands $name}
  }
  is 1 [regexp {^\d+\.\d+} [${module}::version]]
}
is 1 [expr {[llength $commands] > 300}]
set types {Flag AceReporter Integer Huge Double String Bytes* StringArray Obj}
foreach name $commands {
  set signature [Tie::$name]
  is {Flag -help} [lindex $signature 0] $name
  foreach declared $signature {
    set type [lindex $declared 0]
    # A kernel class is a command, or known by its methods; an enumeration is none of these.
    if {$type ni $types && ![string match *::* $type]} {
      is 1 [expr {[llength [info commands ${type}::*]] > 0}] "$name: $type"
    }
  }
  set usage [Tie::$name ??]
  is 1 [string match "Option      : -help\n*" $usage] $name
  set positional 0
  foreach declared $signature {incr positional [expr {![string match -* [lindex $declared 1]]}]}
  is $positional [regexp -all -line {^(Argument|Optional) } $usage] $name
  if {[regexp -line {^Argument } $usage]} {
    is "Too few arguments (0) for $name!" [failure {$name}] $name
  }
}

# The texts of one call with everything.
is "{Flag -help} {String runtime_path} {String access_name} " [Tie::ace_add_managed_file]
is "Option      : -help
Lets a file be found by a name.
Argument  1 :  string runtime_path
Argument  2 :  string access_name
" [Tie::ace_add_managed_file ??]
catch {ace_add_managed_file here} message
is "Too few arguments (1) for ace_add_managed_file!
Missing string for access_name
Usage:
Option      : -help
Lets a file be found by a name.
Argument  1 :  string runtime_path
Argument  2 :  string access_name
" $message
is "Too many arguments for ace_add_managed_file: last 1 arguments cannot be assigned" \
   [failure {ace_add_managed_file a b c}]
# Help stands before the usage, wherever it is asked for, and is an error.
foreach call {{ace_add_managed_file -help} {ace_add_managed_file a -help}} {
  is 1 [catch $call message]
  is 1 [string match "Lets a file be found by a name.\nOption      : -help\n*Argument  1 :  string runtime_path\n*" $message]
}
# An optional word that does not fit stays for the next declaration; a wrong name of a value never does.
set map [TeraMap::get_ident_map]
is "Too many arguments for TeraMap::tok_len: last 1 arguments cannot be assigned" [failure {TeraMap::tok_len $map a no}]
catch {TeraEval::get_mode_name LEVENSTEIN} message
is "'LEVENSTEIN' is no TeraEval::Mode; did you mean LEVENSHTEIN? At mode" [lindex [split $message \n] 1]
is LEVENSHTEIN [TeraEval::get_mode_name 1]
is LEVENSHTEIN [TeraEval::get_enum_mode levenshtein]
# A text that looks like an option is a text: options stand in front of everything there.
is 5 [TeraMap::tok_len $map -help]

# Handles: no number, nothing, unknown, another class.
foreach {handle text} {
  abc "Unknown parameter 'abc'. Expected pointer of type 'TeraMap' object"
  0 "Pointer of type 'TeraMap' is nullptr. object"
  1234 "Unknown object '1234', expected type 'TeraMap' for object"
} {
  catch {TeraMap::num_token $handle} message
  is $text [lindex [split $message \n] 1]
}
set index [TeraIndex]
catch {TeraMap::num_token $index} message
is "Invalid type: 'TeraIndex' instead of 'TeraMap' for object" [lindex [split $message \n] 1]
is "Error in 2. Argument of TeraIndex::get_line" [failure {TeraIndex::get_line $index 4294967296}]
# A result that is an error carries the code.
is 1 [catch {TeraIndex::get_line $index 3}]
is {TIE TeraIndex::get_line NO_STRING} $errorCode
is 1 [catch {TeraIndex::search $index a}]
is {TIE TeraIndex::search -1} $errorCode
~TeraIndex $index
is "Error in 1. Argument of ~TeraIndex" [failure {~TeraIndex $index}]

# What the kernel throws is an error with a frame of its own.
set config [TeraMapConfig]
is 1 [catch {TeraMapConfig::set_tokens $config Z-A}]
is {TIE TeraMapConfig::set_tokens} [lrange $errorCode 0 1]
is 1 [string match "Internal Exception in tied function 'TeraMapConfig::set_tokens', *invoked from within\n\"TeraMapConfig::set_tokens\"\n    (TIE_FRAME C++Function)*" $errorInfo]
~TeraMapConfig $config

# Timers run while they are traced.
SVUtils::set_trace ALL_TIMERS 1
TeraMap::num_token $map
SVUtils::set_trace ALL_TIMERS 0
