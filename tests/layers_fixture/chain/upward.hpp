// An include that runs upward: the layer check must reject this tree.
#include "calculator/line_dispatcher.hpp"
