// EXPECT: nodiscard
#include <information_model/OnScopeExit.h>

using kx::information_model::utility::OnScopeExit;

void leave(int& calls) {
#ifdef MISTAKE
    OnScopeExit([&calls] { ++calls; });
#else
    const OnScopeExit guard([&calls] { ++calls; });
#endif
}
