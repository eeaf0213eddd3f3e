# gnuplot -c sizes.gp SIZES.TSV PLOT.SVG
#
# Nanoseconds an element of a batch against the bytes that are read: from the first cache to memory. report.py writes the
# table: a block a line of the plot, five lines (ours, memcpy, the peers) a panel, panels in the order of the titles below.
set terminal svg size 1100,800 font "sans-serif,12" background rgb "white" noenhanced
set encoding utf8
set output ARG2
set datafile separator tab

set logscale x 2
set logscale y
set xrange [2**13:2**28]
set xtics ("16 KiB" 2**14, "256 KiB" 2**18, "4 MiB" 2**22, "64 MiB" 2**26)
set xlabel "bytes read, again and again" offset 0, 0.5
set ylabel "ns an element" offset 1, 0
set yrange [1:1000]
set grid linetype 1 linecolor rgb "#dddddd"
set key autotitle columnhead top left horizontal maxrows 2 samplen 1 font ",10"
set style data linespoints
set pointsize 0.5

array titles[4] = ["pack, no zeros", "unpack and release, no zeros", "pack, half of the members zero", "unpack and release, half of the members zero"]
array colours[5] = ["#3a7d44", "#222222", "#2e6da4", "#c0392b", "#b8860b"]
set multiplot layout 2, 2
do for [panel = 0:3] {
    set title titles[panel + 1]
    plot for [line = 0:4] ARG1 index (5 * panel + line) using 1:2 linewidth (line == 0 ? 3 : 1.5) linecolor rgb colours[line + 1] pointtype 7
}
unset multiplot
