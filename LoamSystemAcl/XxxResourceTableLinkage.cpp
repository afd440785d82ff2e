#include <LoamSystemAcl/XxxResourceTableLinkage.h>
