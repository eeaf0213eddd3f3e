# gnuplot -c plot.gp BARS.TSV PLOT.SVG
#
# A row a bar: how far what was measured is from it, on a scale from half to twice; to the right of the line it is missed.
# report.py writes the table: the path, how many times the bar it is, 1 where it is met or 0, the figures as text.
set terminal svg size 1100,900 font "sans-serif,12" background rgb "white" noenhanced
set encoding utf8
set output ARG2
set datafile separator tab

set title "measured against the bar: left of the line it is met"
set xrange [-1:1]
set link x2
unset xtics
set x2tics ("half" -1, "the bar" 0, "twice" 1) scale 0
set grid x2tics linetype 1 linecolor rgb "#cccccc"
set yrange [] reverse
set offsets 0, 0, 0.5, 0.5
unset ytics
set lmargin at screen 0.56
set rmargin at screen 0.9
set bmargin 1
set style fill solid noborder
unset key
unset border
set arrow from 0, graph 0 to 0, graph 1 nohead front

place(ratio) = ratio < 0.5 ? -1 : ratio > 2 ? 1 : log(ratio) / log(2)
from(ratio) = ratio < 1 ? place(ratio) : 0
to(ratio) = ratio < 1 ? 0 : place(ratio)
colour(is_met) = is_met == 1 ? 0x3a7d44 : 0xc0392b
plot ARG1 using (0):0:(from($2)):(to($2)):($0 - 0.35):($0 + 0.35):(colour($3)) with boxxyerror linecolor rgb variable, \
    "" using (-1):0:1 with labels right offset -1, 0, \
    "" using (1):0:4 with labels left offset 1, 0
