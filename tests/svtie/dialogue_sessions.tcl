set silent [AceReporter::get_null_reporter]
AceReporter::set_as_default $silent

# A base of three fields from a record file.
set records {{Anna Meier Basel} {Peter Meyer Bern} {Pierre Moulin Genf} {Anna Weber Bern} {Jürg Müller Zürich}}
set file [open $folder/people.tab w]
fconfigure $file -encoding utf-8 -translation lf
foreach record $records {puts $file [join $record \t]}
close $file
set config [TeraMapConfig]
TeraMapConfig::set_tokens $config A-Z0-9
TeraMapConfig::map_upper $config
TeraMapConfig::deaccentuate $config
set map [TeraMapConfig::compile $config]
~TeraMapConfig $config
set fields {given surname city}
set built [DastBase $fields $folder]
foreach field $fields {
  is 0 [expr {[DastBase::assign_internal $built $field "ADVANCED|CHANGING|FULL|ORIGINAL"] < 0}]
  is 0 [expr {[DastBase::configure $built $field EDIT $map "" "-min_value 150"] < 0}]
}
is 1 [catch {DastBase::configure $built given EDDIT $map}]
is 0 [DastBase::make $built $folder/people.tab]
is 0 [DastBase::make_all_access $built]
is 6 [DastBase::num_records $built]
is 0 [DastBase::dump $built $folder/people.base]
~DastBase $built
set base [DastBase::mapped $folder/people.base]
is {Jürg Müller Zürich} [DastBase::get_line $base 5]
is {1 4} [DastBase::get_exact $base 0 Anna]
is 1 [catch {DastBase::mapped $folder/nothing.base}]

# A template, and a session of it, from a manager.
set template "FIELDS\t{\n"
foreach field $fields {append template "$field\t{\n\tBUILD_FIELD\t$field\n}\n"}
append template "}\nCOMBINATIONS\t{\ndefault\t{\n\tMIN_CONF\t180\n\tFIXED_CONFIG\t{\n\t\tLOGIC\t(given&surname&city)\n\t}\n}\n}\n"
set manager [DastSessionManager 30]
is 0 [expr {[DastSessionManager::configure_template $manager $base people $template] < 0}]
is people [DastSessionManager::get_template_names $manager]
is 1 [catch {DastSessionManager::create_session $manager nobody}]
set id [DastSessionManager::create_session $manager people]
set session [DastSessionManager::get_session $manager $id]
is $fields [DastSession::get_field_names $session]

# Typing offers values with their records; selecting narrows; a result outlives what comes later.
set typed [DastSession::update_result $session surname Mayer]
set values {}
for {set i 0} {$i < [DastResult::get_num_alts $typed]} {incr i} {
  lappend values [DastCandidate::get_rep [DastResult::get_alt $typed $i]]
}
is {Meier Meyer} [lsort $values]
is IN_CONTEXT [DastStatus::get_status [DastResult::get_field_status $typed 1]]
DastSession::update $session city Bern !
DastSession::select $session city
is 2 [DastSession::get_context_size $session]
set best [DastSession::suggest $session]
is {Peter Meyer Bern} [DastSuggestion::get_rep [DastResult::get_sugg $best 0]]
is 2 [DastSuggestion::get_record_id [DastResult::get_sugg $best 0]]
set undone [DastSession::undo $session]
is 1 [DastResult::can_redo $undone]
is -1 [DastSession::get_context_size $session]
is Mayer [DastStatus::get_string [DastResult::get_field_status $typed 1]]

# All fields at once; as many modes as texts.
set found [DastSession::search $session {? ? ?} {Jurg Muller Zurich}]
is {Jürg Müller Zürich} [DastSuggestion::get_rep [DastResult::get_sugg $found 0]]
is "Internal Exception in tied function 'DastSession::search', Query with other fields: 1 modes, 2 texts" \
   [failure {DastSession::search $session ? {a b}}]

# A result that the session takes over is no longer the script's.
is 0 [DastSession::cache $session $found]
is "Error in 1. Argument of DastResult::get_num_suggs" [failure {DastResult::get_num_suggs $found}]
set seen [DastSession::view $session 0 1]
is 1 [DastResult::get_num_suggs $seen]
# What is asked for of it is a copy: the next command forgets it.
set kept [DastSession::get_cached_result $session]
DastSession::update $session surname Moulin
is {Jürg Müller Zürich} [DastSuggestion::get_rep [DastResult::get_sugg $kept 0]]
is 1 [catch {DastSession::get_cached_result $session}]

# Loading ends the sessions of a manager; building a base, those of the base.
set data [DareDataManager]
set files [DareLdbFile]
set other [DastSessionManager]
DastSessionManager::configure_template $other $base people $template
set ending [DastSessionManager::get_session $other [DastSessionManager::create_session $other people]]
is 1 [catch {DareDataManager::load $data $files $other}]
is "" [tie_type $ending]
~DareDataManager $data
is "" [tie_type $other]
~DareLdbFile $files
set bare [DastBase {a} $folder]
set ending [DastSession $bare]
is 0 [DastSession::get_num_flex_output_fields $ending] ;# no combination is active
catch {DastBase::delete_access $bare 0}
is "" [tie_type $ending]
~DastBase $bare

# What was asked for by another type says both; the session ends with its manager, which ends with the base.
is 1 [catch {DastResult::get_num_suggs $session} message]
is "Invalid type: 'DastSession' instead of 'DastResult' for object" [lindex [split $message \n] 1]
foreach result [list $typed $best $undone $seen $kept] {~DastResult $result}
is 1 [catch {~DastSession $session}]
~DastBase $base
is "" [tie_type $manager][tie_type $session]
~TeraMap $map
