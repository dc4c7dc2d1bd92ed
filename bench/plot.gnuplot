# Draws `picture` (SVG) from `results`, the table of bench/measure.py.
set datafile separator comma
set terminal svg size 1080,340 font "sans,11" background "white"
set output picture

names = "kvo-boards utility sb packets bytes"
is(group, figure) = strcol(1) eq group && strstrt(strcol(2), figure) > 0
at(x, matches) = matches ? x : NaN
count_of(figure) = is("boards", figure) ? real(word(strcol(2), 1)) : NaN

set style fill solid 0.8 noborder
set boxwidth 0.8
set grid ytics
set multiplot layout 1,3

set title "Processor time per MiB at 1000000 baud, ms"
set logscale y
set yrange [1:*]
set xtics ("kvo-boards" 0, "utility" 1, "sb" 2, "packets" 3, "bytes" 4)
set xrange [-0.7:4.7]
plot for [sender = 0:4] results skip 1 \
  using (at(sender, is("line 1000000", "processor time"))):sender + 4 \
  with boxes linecolor sender + 1 notitle
unset logscale y

set title "Efficiency of the line, %"
set xtics ("115200 baud" 2, "1000000 baud" 8)
set xrange [-0.7:10.7]
set yrange [0:140]
set key top left horizontal samplen 1
plot for [sender = 0:4] results skip 1 \
  using (at(sender, is("line 115200", "boards: efficiency"))):sender + 4 \
  with boxes linecolor sender + 1 title word(names, sender + 1), \
  for [sender = 0:4] results skip 1 \
  using (at(sender + 6, is("line 1000000", "boards: efficiency"))):sender + 4 \
  with boxes linecolor sender + 1 notitle

set title "Efficiency of each of many lines, %"
set xtics auto
set xrange [0:*]
set xlabel "boards at once, 1000000 baud"
plot for [sender = 0:4] results skip 1 using (count_of("efficiency of each")):sender + 4 \
  with points linecolor sender + 1 pointtype 7 title word(names, sender + 1)
