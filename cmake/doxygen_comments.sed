# Makes the comments that stand on lines of their own those of doxygen. What looks like one of its
# commands is text.
/^ *\/\// {
  s/[\\@<>]/\\&/g
  s/^( *)\/\//\1\/\/\//
}
