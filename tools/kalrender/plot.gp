# What kalrender --plot draws. Before it stand: folder, duration, lowest, numSounds, and the terminal.
set output folder."/picture"
stats folder."/polyphony" using 2 nooutput
set multiplot layout 6, 1 margins 0.08, 0.9, 0.04, 0.985 spacing 0.028
set grid
set xrange [0:duration]
set format x ""
set style fill solid 1.0 noborder
set key top right horizontal

set ylabel "waveform"
set yrange [-1:3]
set ytics ("right" 0, "left" 2)
plot folder."/levels" using 1:($2 + 2):($3 + 2) with filledcurves lc "#3060a0" notitle, \
     folder."/levels" using 1:5:6 with filledcurves lc "#a04020" notitle

set ylabel "level, dBFS"
set yrange [-90:0]
set ytics 30
plot folder."/levels" using 1:4 with lines lc "#3060a0" title "left", \
     folder."/levels" using 1:7 with lines lc "#a04020" title "right"

set ylabel "Hz"
set yrange [0:*]
set ytics ("100" log(100 / lowest) / log(2), "1k" log(1000 / lowest) / log(2), "10k" log(10000 / lowest) / log(2))
set cbrange [-110:-20]
set palette defined (0 "#000010", 1 "#302080", 2 "#b03060", 3 "#f0a030", 4 "#ffffd0")
set cblabel "dB"
plot folder."/spectrogram" using 1:2:3 with image notitle

unset colorbox
set cbrange [0:(numSounds > 1 ? numSounds - 1 : 1)]
set palette defined (0 "#1b6ca8", 1 "#2a9d5c", 2 "#d9a514", 3 "#c8372d", 4 "#7a3b9a")
set ylabel "azimuth, right > 0"
set yrange [-190:190]
set ytics 90
plot folder."/directions" using 1:2:4 with points pt 7 ps 0.3 lc palette notitle
set ylabel "elevation"
set yrange [-95:95]
set ytics 45
plot folder."/directions" using 1:3:4 with points pt 7 ps 0.3 lc palette notitle

set ylabel "voices"
set yrange [0:*]
set ytics 1
if (STATS_max > 6) set ytics autofreq
set format x "%g"
set xlabel "seconds"
plot folder."/polyphony" using 1:2 with steps lw 2 lc "#404040" notitle
unset multiplot
