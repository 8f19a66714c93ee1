# Draws one run of the demo: the level in either ear, on both platforms, above where the sounds are.
#     gnuplot -c scene.gp FOLDER
folder = ARG1
set terminal pngcairo size 1200, 800 font ",11"
set output folder."/scene.png"
set multiplot layout 3, 1 margins 0.07, 0.98, 0.07, 0.96 spacing 0.06
set grid
set xrange [0:18.5]
set xtics 1
set key top right horizontal

set yrange [-90:0]
set ylabel "left ear, dB"
plot folder."/linux.levels" using 1:2 with lines lw 4 lc "#b0c8e8" title "Linux", \
     folder."/windows.levels" using 1:2 with lines lw 1 lc "#203060" title "Windows"
set ylabel "right ear, dB"
plot folder."/linux.levels" using 1:3 with lines lw 4 lc "#e8c0b0" title "Linux", \
     folder."/windows.levels" using 1:3 with lines lw 1 lc "#602010" title "Windows"

set yrange [-190:190]
set ytics 90
set ylabel "azimuth, degrees (right > 0)"
set xlabel "seconds"
plot folder."/linux.azimuths" with points pt 7 ps 0.4 lc "#207040" notitle
