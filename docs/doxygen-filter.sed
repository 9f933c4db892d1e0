# What Doxygen need not see: special members that the compiler writes, destructors, who may look inside.
/= (default|delete);$/d
/^ *(virtual )?~[A-Za-z]+\(\)( override)?;/d
/^ *~[A-Za-z]+\(\) override \{/d
/^ *friend class /d
