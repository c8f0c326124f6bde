# CPU seconds of each task over the fact rows, both logarithmic. Called by bench/plot.sh, which sets the
# folder of the series and the picture.
if (picture[strlen(picture) - 2:] eq "png") {
    set terminal pngcairo size 900,620 font "DejaVu Sans,13" background rgb "white"
} else {
    set terminal svg size 900,620 font "DejaVu Sans,Verdana,sans-serif,13" background rgb "white"
}
set output picture

set logscale xy
set xrange [6e5:3.5e8]
set yrange [0.005:2000]
set xtics ("1 million" 1e6, "10 million" 1e7, "100 million" 1e8)
set ytics ("0.01" 0.01, "0.1" 0.1, "1" 1, "10" 10, "100" 100, "1,000" 1000)
set grid xtics ytics lc rgb "#dddddd" lt 1
set border 3
set tics nomirror
set xlabel "fact rows"
set ylabel "CPU seconds (user and system)"
set key top left reverse Left samplen 3

series(task, who) = folder . "/" . task . "-" . who
tasks = "archiving marking reports deletion"
colours = "#c44e52 #4c72b0 #8172b2 #55803e"

# Labels each line at its last point.
plot for [i=1:4] series(word(tasks, i), "program") with linespoints lw 2.5 pt 7 ps 0.9 \
         lc rgb word(colours, i) notitle, \
     for [i=1:4] series(word(tasks, i), "shell") with linespoints lw 1.5 dt 2 pt 6 ps 0.9 \
         lc rgb word(colours, i) notitle, \
     series("check", "program") with linespoints lw 2.5 pt 7 ps 0.9 lc rgb "#777777" notitle, \
     for [i=1:4] series(word(tasks, i), "end") \
         using 1:2:(word(tasks, i)) with labels left offset 1.2,0 tc rgb word(colours, i) notitle, \
     series("check", "end") using 1:2:("check") with labels left offset 1.2,0 \
         tc rgb "#777777" notitle, \
     [9e5:1.1e8] 1e-5 * x with lines lw 1 lc rgb "#aaaaaa" dt 3 title "in proportion to the rows", \
     NaN with linespoints lw 2.5 pt 7 lc rgb "#333333" title "the program", \
     NaN with linespoints lw 1.5 dt 2 pt 6 lc rgb "#333333" title "hand-written SQL in the shell"
