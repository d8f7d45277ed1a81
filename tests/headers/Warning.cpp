// As the public header would be with something in it that -Wextra warns of.
inline int ignored(int parameter)
{
    return 0;
}
