#include "app/usage.hpp"

namespace tovik {

const char* const usage =
    "Usage: tovik <command-file> [option value]...\n"
    "       tovik --help | --version | --changelog\n"
    "\n"
    "Options, each with a value; they win over the command file:\n"
    "  -o, --outfile PATH    imputed data sets: with * in the path as --separate, else as --stacked\n"
    "  --stacked PATH        imputed data sets under each other\n"
    "  --stacked0 PATH       the same behind the incomplete data\n"
    "  --dataset PATH        the simulated data set\n"
    "  --separate PATH       imputed data sets in a file each, their number in the place of *\n"
    "  --iterations PATH     the draws\n"
    "  --estimates PATH      the table of estimates\n"
    "  --psr PATH            potential scale reductions of the burn-in\n"
    "  --burn PATH           the draws of the burn-in\n"
    "  --waldtest PATH       Wald tests\n"
    "  --correlations PATH   draws of the correlations among residuals\n"
    "  -s, --seed NUMBER     the seed\n"
    "  -d, --data PATH       the data\n"
    "  --traceplot FOLDER    a file of burn-in draws for each parameter, and their labels\n"
    "  --output PATH         the report, in place of standard output\n"
    "  --truncate NUMBER     length of variable names in the report\n"
    "  -c, --col WORD        a column of the tables, as in the OUTPUT command\n"
    "\n"
    "In the place of the command file:\n"
    "  -h, --help            this text\n"
    "  --version             the number of this version\n"
    "  --changelog           what has changed from version to version\n"
    "\n"
    "Exit status: 0 for a completed run, 1 after an error, 2 for a wrong option,\n"
    "130 or 143 for a run that SIGINT or SIGTERM has cut short.\n";

}  // namespace tovik
