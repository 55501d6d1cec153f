// A function of a DLL that is never loaded: with Visual C++, late imports come from import libraries.

extern "C" __declspec(dllexport) int MISSING_FUNCTION(int argument);

extern "C" int MISSING_FUNCTION(int argument)
{
    return argument;
}
