# Draws how the three rooms ring out after the scene's last sound, beside the slopes of the reverberation times that
# their sizes ask for.
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
end = 15.75
slope(t, start, rt60) = t < end ? NaN : start - 60 * (t - end) / rt60
plot folder."/dry/linux.levels" using 1:(both($2, $3)) with lines lw 2 lc 1 title "dry", \
    folder."/small/linux.levels" using 1:(both($2, $3)) with lines lw 2 lc 2 title "small", \
    slope(x, -46, 1.2) with lines dt 2 lc 2 title "rt60 asked for: 1.2 s", \
    folder."/hall/linux.levels" using 1:(both($2, $3)) with lines lw 2 lc 3 title "hall", \
    slope(x, -39, 2.6) with lines dt 2 lc 3 title "rt60 asked for: 2.6 s"
