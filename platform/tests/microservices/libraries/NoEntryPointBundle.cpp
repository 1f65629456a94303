// A bundle whose manifest promises an activator that the library does not export.
#include "cppmicroservices/BundleInitialization.h"

CPPMICROSERVICES_INITIALIZE_BUNDLE
