# Draws $bars as horizontal bars, each with a line from the lowest to the highest round. Rows have five columns,
# separated by tabs: label, value as text, length, lowest, highest. The caller also sets the variables file, heading,
# axis, rows and limit.
set terminal svg size 760, 96 + 50 * rows fixed noenhanced font "DejaVu Sans,sans-serif,13" background "#ffffff"
set output file
set datafile separator "\t"
set lmargin at screen 0.03
set rmargin at screen 0.965
set tmargin 2.6
set bmargin 3.4
set title heading font ",16" textcolor rgb "#1f2328"
set xlabel axis textcolor rgb "#57606a"
set xtics nomirror scale 0.5 textcolor rgb "#57606a"
set format x "%.10g"
set border 1 linecolor rgb "#57606a"
set grid xtics linecolor rgb "#d8dee4" linetype 1
unset ytics
unset key
set xrange [0:limit]
set yrange [rows - 0.4:-0.6]
set style fill solid noborder
color(row) = row == 0 ? 0x2f81d0 : 0x8c959f
marked(text, length) = length > limit ? text.", bar cut off" : text
plot $bars using (0):($0 + 0.15):(0):3:($0 - 0.02):($0 + 0.32):(color($0)) with boxxyerror linecolor rgb variable, \
     "" using 3:($0 + 0.15):4:5 with xerrorbars pointtype 0 linewidth 1.5 linecolor rgb "#1f2328", \
     "" using (0):($0 - 0.22):1 with labels left textcolor rgb "#1f2328", \
     "" using (limit):($0 - 0.22):(marked(strcol(2), $3)) with labels right textcolor rgb "#1f2328"
