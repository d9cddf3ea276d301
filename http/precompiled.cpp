// Nothing of its own: the target that this belongs to compiles the headers that the endpoints share.
