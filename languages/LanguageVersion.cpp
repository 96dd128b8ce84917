// The only code of a language library: the library of classes loads none whose version differs from its own.
// The .def file exports it as `unsigned long const GetLanguageVersion()` is decorated, whatever compiler is used.
extern "C" unsigned long GetLanguageVersion()
{
    return 81002;
}
