// SPDX-License-Identifier: MIT
#include "ui/high_contrast.h"

#include <windows.h>

namespace quillbeaker {

bool HighContrastIsOn() {
  HIGHCONTRASTW contrast{};
  contrast.cbSize = sizeof contrast;
  return SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof contrast, &contrast, 0) &&
         (contrast.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

}  // namespace quillbeaker
