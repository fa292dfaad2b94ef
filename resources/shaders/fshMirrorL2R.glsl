// Mirror, left to right: the left half of the picture is kept and shown
// again, mirrored, on the right, so the frame is symmetric about its
// vertical centre line. Left and right are those of the frame as stored
// (the picture the still tool writes); the fold is the frame's centre line,
// so digital zoom about the centre keeps it in place.
{
    coord.x = 0.5 - abs(coord.x - 0.5);
}
