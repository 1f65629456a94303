// Adds the peers that this build was made with.

#include "Rows.hpp"

namespace bench {

#ifdef HAVE_QSETTINGS
Contestant qsettingsRead();
#endif
#ifdef HAVE_KCONFIG
Contestant kconfigRead();
#endif

void addPeers([[maybe_unused]] Row& defaultRead) {
#ifdef HAVE_QSETTINGS
    defaultRead.contestants.push_back(qsettingsRead());
#endif
#ifdef HAVE_KCONFIG
    defaultRead.contestants.push_back(kconfigRead());
#endif
}

} // namespace bench
