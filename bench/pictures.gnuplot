# SPDX-License-Identifier: GPL-3.0-or-later
# Draws the figures that scripts/bench found in its table:
#     gnuplot -e "figures='FILE'; folder='FOLDER'" pictures.gnuplot
# A white ground of their own, so that the pictures can be read on a dark page, too.
ours = '#0050b0'
grey = '#333333'
ground = '#ffffff'
set linetype 1 linecolor rgb ours linewidth 2.5 pointtype 7 pointsize 0.6
set linetype 2 linecolor rgb '#d07000' linewidth 1.5 pointtype 5 pointsize 0.5
set linetype 3 linecolor rgb '#a02060' linewidth 1.5 pointtype 9 pointsize 0.6
set linetype 4 linecolor rgb '#708090' linewidth 1.5 pointtype 13 pointsize 0.6
set border 3 linecolor rgb grey
set tics nomirror textcolor rgb grey
set title textcolor rgb grey

# Bars: a row for each program, its median, a whisker from the 10th to the 90th percentile.
bars(name, shown) = sprintf("plot figures index '%s' \
    using ($2/2):0:(0):2:($0-0.3):($0+0.3):($0+1):ytic(1) with boxxyerror linecolor variable fillstyle solid, \
    '' index '%s' using 2:0:3:4 with xerrorbars linecolor rgb grey linewidth 1.2 pointtype -1, \
    '' index '%s' using 4:0:(sprintf('  %s', $2)) with labels left textcolor rgb grey", \
    name, name, name, shown)

stats figures index 'start' using 4 name 'start' nooutput
stats figures index 'memory' using 4 name 'memory' nooutput

set terminal svg size 720,140 dynamic background rgb ground font 'sans-serif,13' name 'start'
set output folder.'/start.svg'
set multiplot layout 1,2
unset key
set border 2
unset xtics
set yrange [1.6:-0.6]
set ytics scale 0
set lmargin 13
set rmargin 1
set tmargin 2.2
set bmargin 0.8
set title 'Start to first full frame'
set xrange [0:start_max * 1.4]
eval bars('start', '%.1f ms')
set title 'Resident memory'
set xrange [0:memory_max * 1.4]
eval bars('memory', '%.0f kB')
unset multiplot

reset
set terminal svg size 720,320 dynamic background rgb ground font 'sans-serif,13' name 'thresholds'
set output folder.'/thresholds.svg'
set border 3 linecolor rgb grey
set grid ytics linecolor rgb '#dddddd'
set tics nomirror textcolor rgb grey
set title 'Reading the thresholds of all sensors' textcolor rgb grey
set key outside right center reverse Left samplen 2 textcolor rgb grey
set tmargin 2.5
stats figures index 'ours' using 3 name 'lowest' nooutput
set logscale xy
set yrange [lowest_min * 0.7:*]
set xrange [14:600]
set xtics (16, 64, 256, 512)
set ytics (5, 10, 20, 50, 100, 200, 500, 1000)
set xlabel 'sensors' textcolor rgb grey
set ylabel 'milliseconds' textcolor rgb grey
programs = "'ipmi-sensors-config' 'ipmitool sensor' 'ipmi-sensors' 'ours'"
plot for [i=1:words(programs)] figures index word(programs, i) using 1:2:3:4 \
    with yerrorlines linetype 5 - i title (i < 4 ? word(programs, i) : 'ours (the agent library)')
