# A base of five people, and a template of a session of it.
set silent [AceReporter::get_null_reporter]
AceReporter::set_as_default $silent
set config [TeraMapConfig]
TeraMapConfig::set_tokens $config A-Z0-9
TeraMapConfig::map_upper $config
set map [TeraMapConfig::compile $config]
~TeraMapConfig $config
set file [open $folder/people.tab w]
foreach record {{Anna Meier Basel} {Peter Meyer Bern} {Pierre Moulin Genf} {Anna Weber Bern} {Juerg Meier Zug}} {puts $file [join $record \t]}
close $file
set fields {given surname city}
set base [DastBase $fields $folder]
foreach field $fields {
  DastBase::assign_internal $base $field "ADVANCED|CHANGING|FULL|ORIGINAL"
  DastBase::configure $base $field EDIT $map "" "-min_value 150"
}
DastBase::make $base $folder/people.tab
DastBase::make_all_access $base
set template "FIELDS\t{\n"
foreach field $fields {append template "$field\t{\n\tBUILD_FIELD\t$field\n}\n"}
append template "}\nCOMBINATIONS\t{\ndefault\t{\n\tMIN_CONF\t180\n\tFIXED_CONFIG\t{\n\t\tLOGIC\t(given&surname&city)\n\t}\n}\n}\n"
