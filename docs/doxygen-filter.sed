# Removes parts that a reader of the API pages does not need. Lines become empty and are not deleted, so that warnings name
# the right line.
# Copying, moving and assigning in one line: the comment of the class describes it.
s/^ *(constexpr )?([A-Z][A-Za-z0-9]*)\((const )?\2&&?( [a-z]+)?\)( noexcept)?( : .*)?( = (default|delete);| \{.*\}|;)$//
s/^ *([A-Z][A-Za-z0-9]*)& operator=\((const )?\1&&?( [a-z]+)?\)( noexcept)?( = (default|delete);| \{.*\}|;)$//
# Destructors.
s/^ *(virtual )?~[A-Za-z0-9]+\(\)( override)?( = default)?( \{.*\})?;?$//
# Friends, and the memory of counted objects.
s/^ *friend class .*;$//
s/^ *static void\*? operator (new|delete)\(.*$//
# Specializations in the namespace std: Doxygen does not find their scope.
/^struct std::(hash|formatter)</,/^};/s/.*//
