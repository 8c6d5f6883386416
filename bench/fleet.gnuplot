# SPDX-License-Identifier: Apache-2.0
# Draws the picture of ./run fleet: gnuplot -c bench/fleet.gnuplot DATA PICTURE SECONDS
# Each line of DATA: access points, processor time of daemons and simulators, memory of both.

set terminal svg size 860,330 font "sans-serif,12" background "white"
set output ARG2
set multiplot layout 1,2 margins 0.06,0.98,0.19,0.88 spacing 0.08
set key left top reverse Left
set border 3 linecolor "#444444"
set grid linetype 1 linewidth 0.5 linecolor "#dddddd"
set tics nomirror
set xrange [0:]
set yrange [0:]
set label "access points on one machine, each rotating three beacons at 100 ms, ".ARG3." s each" \
	at screen 0.5,0.05 center
do for [first in "2 4"] {
	set title first == 2 ? "processor time, % of one core" : "memory, MiB"
	plot ARG1 using 1:(column(first + 1)) with linespoints pointtype 7 pointsize 0.4 \
		linecolor "#c2703d" title "simulators", \
		"" using 1:(column(first + 0)) with linespoints pointtype 7 pointsize 0.4 \
		linecolor "#2f6690" title "daemons"
	unset label # shown only once
}
