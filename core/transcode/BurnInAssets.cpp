#include "transcode/BurnInAssets.h"

#include "transcode/TemporaryFolder.h"

namespace vantor {

void BurnInAssets::cleanup() const
{
    if (directory)
        TemporaryFolder::remove(*directory);
}

} // namespace vantor
