# A map of capital letters and blanks.
set config [TeraMapConfig]
TeraMapConfig::set_tokens $config "A-Z "
TeraMapConfig::map_upper $config
set map [TeraMapConfig::compile $config]
~TeraMapConfig $config
set silent [AceReporter::get_null_reporter]
