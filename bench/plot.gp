# The ratio over the size of the payload, with the quartiles of the pairs.
# Usage: gnuplot -e "data='RATIOS'; out='FILE.svg'" plot.gp
# RATIOS has a block for SendMessage, AddItemAtEnd and the control: bytes median q1 q3.
set terminal svg size 800,480 font "sans,13" background "white"
set output out
set title "Time of a request relative to bare GDBus (no log socket, one core)"
set logscale x 2
set xtics ("41 B" 41, "4 KiB" 4096, "64 KiB" 65536, "1 MiB" 1048576, "8 MiB" 8388608)
set xlabel "payload"
set ylabel "median ratio, quartiles of the pairs"
set grid
set key top right
set yrange [0.6:*]
set offsets graph 0.02, graph 0.02, 0.05, 0
plot 1 with lines lc rgb "#888888" notitle, \
     data index "SendMessage" using 1:2:3:4 with yerrorlines lw 2 pt 7 title "SendMessage", \
     data index "AddItemAtEnd" using 1:2:3:4 with yerrorlines lw 2 pt 5 title "AddItemAtEnd", \
     data index "control" using 1:2:3:4 with yerrorlines dt 2 lc rgb "#888888" title "control"
