// As the public header would be if it lost its guard.
enum Twice { Once };
