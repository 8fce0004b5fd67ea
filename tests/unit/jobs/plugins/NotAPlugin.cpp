// A shared library that is no Qt plug-in: it has no plug-in metadata at all.
extern "C" int norvikTestNotAPlugin()
{
    return 1;
}
