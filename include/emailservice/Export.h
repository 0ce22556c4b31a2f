// Symbol visibility of the library: everything is hidden but what carries this mark.
#pragma once

#define EMAILSERVICE_EXPORT __attribute__((visibility("default")))
