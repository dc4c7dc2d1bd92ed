# Draws `picture` (SVG) from `results`, the table of bench/measure.py.
set datafile separator comma
set terminal svg size 1080,340 font "sans,11" background "white"
set output picture

is(group, figure) = strcol(1) eq group && strstrt(strcol(2), figure) == 1
at(x, matches) = matches ? x : NaN
is_boards(figure) = strcol(1) eq "boards" && strstrt(strcol(2), figure) > 0
boards(figure) = is_boards(figure) ? real(word(strcol(2), 1)) : NaN

set style fill solid 0.8 noborder
set boxwidth 0.8
set grid ytics
set yrange [0:*]
set multiplot layout 1,3

set title "Processor time per MiB, s"
set xtics ("ours" 0, "floor" 1, "sb" 2)
set xrange [-0.7:2.7]
figure = "processor time per MiB; other: sb"
plot for [sender = 0:2] results skip 1 using (at(sender, is("upload", figure))):sender + 4 \
  with boxes linecolor sender + 1 notitle

set title "Efficiency of the line, %"
set xtics ("115200 baud" 1, "1000000 baud" 5)
set xrange [-0.7:6.7]
set yrange [0:130]
set key top left horizontal samplen 1
names = "ours floor sb"
plot for [sender = 0:2] results skip 1 \
  using (at(sender, is("line 115200", "efficiency"))):sender + 4 \
  with boxes linecolor sender + 1 title word(names, sender + 1), \
  for [sender = 0:2] results skip 1 \
  using (at(sender + 4, is("line 1000000", "efficiency"))):sender + 4 \
  with boxes linecolor sender + 1 notitle

set title "Efficiency of each of many lines, %"
set xtics auto
set xrange [0:*]
set xlabel "uploads at once, 1000000 baud"
plot for [sender = 0:1] results skip 1 using (boards("efficiency of each")):sender + 4 \
  with points linecolor sender + 1 pointtype 7 title word(names, sender + 1)
