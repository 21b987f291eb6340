# The log: levels, events, and a file that is rotated.
EbosLog::set_flags 0
is 0 [EbosLog::init $folder/log.txt]
is 1 [catch {EbosLog::init $folder/log.txt}]
foreach name {iprintf dprintf wprintf eprintf} {
  EbosLog::$name "$name 100%s\n"
  is 0 [EbosLog::$name "not written\n" 2] $name
}
is 0 [EbosLog::set_flags 2]
is 2 [EbosLog::get_flags]
is 1 [catch {EbosLog::set_flags 256}]
foreach name {iprintf dprintf wprintf eprintf} {is 1 [expr {[EbosLog::$name "$name again\n" 2] > 0}]}
foreach name {ev_printf ev_iprintf ev_wprintf ev_eprintf} {EbosLog::$name wSORV_0000 "$name\n"}
is 0 [EbosLog::housekeeping]
is 0 [EbosLog::check_file_rotation_condition]
is 0 [EbosLog::perform_file_rotation]
is 6 [EbosLog::printf "after\n"]
is {File already exists} [EbosLog::translate_error -5]
set file [open [lindex [glob $folder/log_archive/*] 0]]
set text [read $file]
close $file
is {INFO  iprintf 100%s
DEBUG dprintf 100%s
WARNG wprintf 100%s
ERROR eprintf 100%s
INFO  iprintf again
DEBUG dprintf again
WARNG wprintf again
ERROR eprintf again
WARNG wMISC_5000::Unknown warning code::wSORV_0000: ev_printf
INFO  wMISC_5000::Unknown warning code::wSORV_0000: ev_iprintf
WARNG wMISC_5000::Unknown warning code::wSORV_0000: ev_wprintf
ERROR wMISC_5000::Unknown warning code::wSORV_0000: ev_eprintf
} [regsub -all {\[.*?\]} $text {}]
is 6 [file size $folder/log.txt]
is 0 [EbosLog::destroy_log]
is 8 [EbosLog::printf "nowhere\n"]
is 1 [catch {EbosLog::init_server localhost 0 log.txt}]
is 0 [EbosLog::init_server localhost 9 log.txt $folder]
is 0 [EbosLog::destroy_log]
