# Draws docs/loss-curve.svg from docs/loss-curve.csv. Runs in the tree's root; ./run loss-curve does it all.
csv = 'docs/loss-curve.csv'
set terminal svg size 900,1020 dynamic font 'sans-serif,14' background 'white'
set output 'docs/loss-curve.svg'
set encoding utf8
set datafile separator comma
set datafile missing NaN # lines go on past the rows of other curves

# Colours that differ for colour-blind readers, too, and a shape each.
array colour[6] = ['#000000', '#E69F00', '#56B4E9', '#009E73', '#0072B2', '#D55E00']
array shape[6] = [5, 7, 9, 11, 13, 4]
do for [n=0:5] {
  set style line n+1 lc rgb colour[n+1] lw 1.4 pt shape[n+1] ps 0.55
}

# Column c of the curve's rows in which text was lost: nothing has no place on a logarithmic scale. Error bars are drawn
# first and without points, since they blot out what is under them.
lost(b, n, c) = column(1) == b && column(4) == n && column(6) > 0 ? column(c) : NaN
seconds(b, n, c) = column(1) == b && column(4) == n ? column(c) / 1000 : NaN
percent(b, n) = column(1) == b && column(4) == n ? 100 * column(2) : NaN

set multiplot layout 3,2 margins 0.085,0.985,0.055,0.965 spacing 0.1,0.085
set xrange [0:62]
set xtics 10 format '%g %%'
set grid lc rgb '#dddddd' lt 1
set border lc rgb '#666666'
set tics textcolor rgb 'black' font ',12' scale 0.5
set logscale y
set samples 120
set errorbars 0.6

set yrange [1e-6:1]
set ytics ('100 %%' 1, '10 %%' 0.1, '1 %%' 0.01, '0.1 %%' 1e-3, '0.01 %%' 1e-4, '0.001 %%' 1e-5, '0.0001 %%' 1e-6)
set key bottom right title 'redundancy' samplen 1.5 spacing 1.1 font ',12' reverse Left maxrows 3
set title 'text lost: independent losses (lines: p^{N+1})' offset 0,-0.6
plot for [n=0:5] csv skip 1 using (percent(1,n)):(lost(1,n,6)):(lost(1,n,7)):(lost(1,n,8)) with yerrorbars ls n+1 pt -1 notitle, \
     for [n=0:5] (x > 0.1 ? (x/100)**(n+1) : NaN) with lines ls n+1 notitle, \
     for [n=0:5] csv skip 1 using (percent(1,n)):(lost(1,n,6)) with points ls n+1 title sprintf('%d', n)
unset key
do for [b in '1.5 2 3'] {
  set title sprintf('text lost: losses in runs of %s', b)
  plot for [n=0:5] csv skip 1 using (percent(real(b),n)):(lost(real(b),n,6)):(lost(real(b),n,7)):(lost(real(b),n,8)) with yerrorbars ls n+1 pt -1, \
       for [n=0:5] csv skip 1 using (percent(real(b),n)):(lost(real(b),n,6)) with linespoints ls n+1
}

set yrange [0.2:100]
set ytics ('0.3 s' 0.3, '1 s' 1, '3 s' 3, '10 s' 10, '30 s' 30, '100 s' 100)
set xlabel 'packets lost' offset 0,0.5
do for [b in '1 2'] {
  set title '95 % shown within: '.(b eq '1' ? 'independent losses' : sprintf('runs of %s', b))
  plot for [n=0:5] csv skip 1 using (percent(real(b),n)):(seconds(real(b),n,11)) with linespoints ls n+1
}
unset multiplot
