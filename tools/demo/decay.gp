# Draws how the three rooms ring out after the scene's last sound.
#     gnuplot -c decay.gp FOLDER
folder = ARG1
set terminal pngcairo size 900, 500 font ",11"
set output folder."/decay.png"
set grid
set xrange [15.4:18.5]
set yrange [-120:0]
set xlabel "seconds"
set ylabel "level of both ears, dB"
both(left, right) = 10 * log10((10 ** (left / 10) + 10 ** (right / 10)) / 2)
plot for [room in "dry small hall"] folder."/".room."/linux.levels" using 1:(both($2, $3)) with lines lw 2 title room
