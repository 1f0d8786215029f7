# SPDX-License-Identifier: GPL-3.0-or-later
# Draws what bench/fleet found:  gnuplot -e "figures='FILE'; picture='FILE'" fleet.gnuplot
# A white ground of its own, so that the picture can be read on a dark page, too.
grey = '#333333'
set terminal svg size 720,300 dynamic background rgb '#ffffff' font 'sans-serif,13' name 'fleet'
set output picture
set border 3 linecolor rgb grey
set grid ytics linecolor rgb '#dddddd'
set tics nomirror textcolor rgb grey
set title 'A policy on all hosts, nothing to change' textcolor rgb grey
set key left top reverse Left samplen 2 textcolor rgb grey
set xlabel 'hosts' textcolor rgb grey
set ylabel 'seconds' textcolor rgb grey
set xrange [0:*]
set yrange [0:*]
plot figures index 'whole5' using 1:2 with linespoints linecolor rgb '#708090' linewidth 1.5 pointtype 5 pointsize 0.5 title 'the run, 5 forks', \
     figures index 'whole20' using 1:2 with linespoints linecolor rgb '#d07000' linewidth 1.5 pointtype 9 pointsize 0.6 title 'the run, 20 forks', \
     figures index 'whole20' using 1:3 with linespoints linecolor rgb '#a02060' linewidth 1.5 pointtype 13 pointsize 0.6 title 'processors busy', \
     figures index 'whole20' using 1:4 with linespoints linecolor rgb '#0050b0' linewidth 2.5 pointtype 7 pointsize 0.6 title 'of that zelctl'
