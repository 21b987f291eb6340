# Files of a test, in its folder.
proc write {name text} {
  set file [open $::folder/$name w]
  fconfigure $file -encoding utf-8 -translation lf
  puts -nonewline $file $text
  close $file
}
proc content {name} {
  set file [open $::folder/$name]
  fconfigure $file -encoding utf-8
  set text [read $file]
  close $file
  return $text
}
