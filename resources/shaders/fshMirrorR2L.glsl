// Mirror, right to left: the right half of the picture is kept and shown
// again, mirrored, on the left (the counterpart of the left-to-right mirror).
{
    coord.x = 0.5 + abs(coord.x - 0.5);
}
