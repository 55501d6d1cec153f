// A function of a DLL that is never loaded. It would succeed.

extern "C" __declspec(dllexport) int MISSING_FUNCTION(int argument);

extern "C" int MISSING_FUNCTION(int argument)
{
    return argument;
}
