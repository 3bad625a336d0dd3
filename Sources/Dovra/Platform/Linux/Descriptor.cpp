#include "Platform/Descriptor.hpp"

#include <unistd.h>

namespace dovra {

Descriptor::~Descriptor() {
    if (number_ >= 0) ::close(number_);
}

}  // namespace dovra
