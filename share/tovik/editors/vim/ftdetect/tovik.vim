autocmd BufRead,BufNewFile *.tovik setfiletype tovik
