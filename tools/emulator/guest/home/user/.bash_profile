# What the session's programs say is kept, line by line.
[ "$(tty)" != /dev/tty1 ] || exec stdbuf -oL startx > ~/session.log 2>&1
