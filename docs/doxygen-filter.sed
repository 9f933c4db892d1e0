# What a reader of the API pages need not see. Lines are emptied and not deleted, so that warnings name the line.
# Copying, moving and assigning, where a line says it all: what it means stands in the comment of the class.
s/^ *(constexpr )?([A-Z][A-Za-z0-9]*)\((const )?\2&&?( [a-z]+)?\)( noexcept)?( : .*)?( = (default|delete);| \{.*\}|;)$//
s/^ *([A-Z][A-Za-z0-9]*)& operator=\((const )?\1&&?( [a-z]+)?\)( noexcept)?( = (default|delete);| \{.*\}|;)$//
# Destructors.
s/^ *(virtual )?~[A-Za-z0-9]+\(\)( override)?( = default)?( \{.*\})?;?$//
# Who may look inside, and how counted objects get their memory.
s/^ *friend class .*;$//
s/^ *static void\*? operator (new|delete)\(.*$//
