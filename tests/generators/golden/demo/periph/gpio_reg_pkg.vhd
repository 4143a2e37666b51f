-- ###############################################################
--          periph/gpio_reg_pkg.vhd
-- ###############################################################
-- Generated automatically by Ombrel
--
-- Module Description :
--
--      
--
-- ---------------------------------------------------------------
--  $HeadURL: $
--  $Author: $
--  $Date: $
--  $Revision: $
-- ---------------------------------------------------------------
-- ###############################################################
--          VHDL CODE
-- ###############################################################
-------------------------------------------------
-- Libraries
-------------------------------------------------
LIBRARY IEEE;
USE ieee.std_logic_1164.all;

package gpio_reg_pkg is

-- Archive Variables
constant GPIO_PORT_COUNT:                       integer := 5;
constant GPIO_PINS:                             integer := 16;
constant GPIO_PORT_STRIDE:                      integer := 16#400#;
constant GPIO_MODE_INPUT:                       integer := 0;
constant GPIO_MODE_OUTPUT:                      integer := 1;
constant GPIO_MODE_ALTERNATE:                   integer := 2;
--Reset state of every pin but the debug pins.
constant GPIO_MODE_ANALOG:                      integer := 3;

-- Register definition
-- Register Map
-- Address bit for register decoding
constant GPIO_REG_NBA: natural := 13;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

constant at_MODER:                              integer := 0;
-- logical map
subtype  l_MODE0 is                             integer range 1 downto 0;
subtype  l_MODE1 is                             integer range 3 downto 2;
subtype  l_MODE2 is                             integer range 5 downto 4;
subtype  l_MODE3 is                             integer range 7 downto 6;
subtype  l_MODE4 is                             integer range 9 downto 8;
subtype  l_MODE5 is                             integer range 11 downto 10;
subtype  l_MODE6 is                             integer range 13 downto 12;
subtype  l_MODE7 is                             integer range 15 downto 14;
subtype  l_MODE8 is                             integer range 17 downto 16;
subtype  l_MODE9 is                             integer range 19 downto 18;
subtype  l_MODE10 is                            integer range 21 downto 20;
subtype  l_MODE11 is                            integer range 23 downto 22;
subtype  l_MODE12 is                            integer range 25 downto 24;
subtype  l_MODE13 is                            integer range 27 downto 26;
subtype  l_MODE14 is                            integer range 29 downto 28;
subtype  l_MODE15 is                            integer range 31 downto 30;
subtype  l_MODE is                              integer range 31 downto 0;
-- physical map
subtype  p_MODE0 is                             integer range 1 downto 0;
subtype  p_MODE1 is                             integer range 3 downto 2;
subtype  p_MODE2 is                             integer range 5 downto 4;
subtype  p_MODE3 is                             integer range 7 downto 6;
subtype  p_MODE4 is                             integer range 9 downto 8;
subtype  p_MODE5 is                             integer range 11 downto 10;
subtype  p_MODE6 is                             integer range 13 downto 12;
subtype  p_MODE7 is                             integer range 15 downto 14;
subtype  p_MODE8 is                             integer range 17 downto 16;
subtype  p_MODE9 is                             integer range 19 downto 18;
subtype  p_MODE10 is                            integer range 21 downto 20;
subtype  p_MODE11 is                            integer range 23 downto 22;
subtype  p_MODE12 is                            integer range 25 downto 24;
subtype  p_MODE13 is                            integer range 27 downto 26;
subtype  p_MODE14 is                            integer range 29 downto 28;
subtype  p_MODE15 is                            integer range 31 downto 30;
subtype  p_MODE is                              integer range 31 downto 0;
subtype range_MODER is                          integer range 31 downto 0;

constant at_OTYPER:                             integer := 4;
-- logical map
constant l_OT0:                                 integer := 0;
constant l_OT1:                                 integer := 1;
constant l_OT2:                                 integer := 2;
constant l_OT3:                                 integer := 3;
constant l_OT4:                                 integer := 4;
constant l_OT5:                                 integer := 5;
constant l_OT6:                                 integer := 6;
constant l_OT7:                                 integer := 7;
constant l_OT8:                                 integer := 8;
constant l_OT9:                                 integer := 9;
constant l_OT10:                                integer := 10;
constant l_OT11:                                integer := 11;
constant l_OT12:                                integer := 12;
constant l_OT13:                                integer := 13;
constant l_OT14:                                integer := 14;
constant l_OT15:                                integer := 15;
subtype  l_OT is                                integer range 15 downto 0;
-- physical map
constant p_OT0:                                 integer := 0;
constant p_OT1:                                 integer := 1;
constant p_OT2:                                 integer := 2;
constant p_OT3:                                 integer := 3;
constant p_OT4:                                 integer := 4;
constant p_OT5:                                 integer := 5;
constant p_OT6:                                 integer := 6;
constant p_OT7:                                 integer := 7;
constant p_OT8:                                 integer := 8;
constant p_OT9:                                 integer := 9;
constant p_OT10:                                integer := 10;
constant p_OT11:                                integer := 11;
constant p_OT12:                                integer := 12;
constant p_OT13:                                integer := 13;
constant p_OT14:                                integer := 14;
constant p_OT15:                                integer := 15;
subtype  p_OT is                                integer range 15 downto 0;
subtype range_OTYPER is                         integer range 15 downto 0;

constant at_OSPEEDR:                            integer := 8;
-- logical map
subtype  l_OSPEED0 is                           integer range 1 downto 0;
subtype  l_OSPEED1 is                           integer range 3 downto 2;
subtype  l_OSPEED2 is                           integer range 5 downto 4;
subtype  l_OSPEED3 is                           integer range 7 downto 6;
subtype  l_OSPEED4 is                           integer range 9 downto 8;
subtype  l_OSPEED5 is                           integer range 11 downto 10;
subtype  l_OSPEED6 is                           integer range 13 downto 12;
subtype  l_OSPEED7 is                           integer range 15 downto 14;
subtype  l_OSPEED8 is                           integer range 17 downto 16;
subtype  l_OSPEED9 is                           integer range 19 downto 18;
subtype  l_OSPEED10 is                          integer range 21 downto 20;
subtype  l_OSPEED11 is                          integer range 23 downto 22;
subtype  l_OSPEED12 is                          integer range 25 downto 24;
subtype  l_OSPEED13 is                          integer range 27 downto 26;
subtype  l_OSPEED14 is                          integer range 29 downto 28;
subtype  l_OSPEED15 is                          integer range 31 downto 30;
subtype  l_OSPEED is                            integer range 31 downto 0;
-- physical map
subtype  p_OSPEED0 is                           integer range 1 downto 0;
subtype  p_OSPEED1 is                           integer range 3 downto 2;
subtype  p_OSPEED2 is                           integer range 5 downto 4;
subtype  p_OSPEED3 is                           integer range 7 downto 6;
subtype  p_OSPEED4 is                           integer range 9 downto 8;
subtype  p_OSPEED5 is                           integer range 11 downto 10;
subtype  p_OSPEED6 is                           integer range 13 downto 12;
subtype  p_OSPEED7 is                           integer range 15 downto 14;
subtype  p_OSPEED8 is                           integer range 17 downto 16;
subtype  p_OSPEED9 is                           integer range 19 downto 18;
subtype  p_OSPEED10 is                          integer range 21 downto 20;
subtype  p_OSPEED11 is                          integer range 23 downto 22;
subtype  p_OSPEED12 is                          integer range 25 downto 24;
subtype  p_OSPEED13 is                          integer range 27 downto 26;
subtype  p_OSPEED14 is                          integer range 29 downto 28;
subtype  p_OSPEED15 is                          integer range 31 downto 30;
subtype  p_OSPEED is                            integer range 31 downto 0;
subtype range_OSPEEDR is                        integer range 31 downto 0;

constant at_PUPDR:                              integer := 12;
-- logical map
subtype  l_PUPD0 is                             integer range 1 downto 0;
subtype  l_PUPD1 is                             integer range 3 downto 2;
subtype  l_PUPD2 is                             integer range 5 downto 4;
subtype  l_PUPD3 is                             integer range 7 downto 6;
subtype  l_PUPD4 is                             integer range 9 downto 8;
subtype  l_PUPD5 is                             integer range 11 downto 10;
subtype  l_PUPD6 is                             integer range 13 downto 12;
subtype  l_PUPD7 is                             integer range 15 downto 14;
subtype  l_PUPD8 is                             integer range 17 downto 16;
subtype  l_PUPD9 is                             integer range 19 downto 18;
subtype  l_PUPD10 is                            integer range 21 downto 20;
subtype  l_PUPD11 is                            integer range 23 downto 22;
subtype  l_PUPD12 is                            integer range 25 downto 24;
subtype  l_PUPD13 is                            integer range 27 downto 26;
subtype  l_PUPD14 is                            integer range 29 downto 28;
subtype  l_PUPD15 is                            integer range 31 downto 30;
subtype  l_PUPD is                              integer range 31 downto 0;
-- physical map
subtype  p_PUPD0 is                             integer range 1 downto 0;
subtype  p_PUPD1 is                             integer range 3 downto 2;
subtype  p_PUPD2 is                             integer range 5 downto 4;
subtype  p_PUPD3 is                             integer range 7 downto 6;
subtype  p_PUPD4 is                             integer range 9 downto 8;
subtype  p_PUPD5 is                             integer range 11 downto 10;
subtype  p_PUPD6 is                             integer range 13 downto 12;
subtype  p_PUPD7 is                             integer range 15 downto 14;
subtype  p_PUPD8 is                             integer range 17 downto 16;
subtype  p_PUPD9 is                             integer range 19 downto 18;
subtype  p_PUPD10 is                            integer range 21 downto 20;
subtype  p_PUPD11 is                            integer range 23 downto 22;
subtype  p_PUPD12 is                            integer range 25 downto 24;
subtype  p_PUPD13 is                            integer range 27 downto 26;
subtype  p_PUPD14 is                            integer range 29 downto 28;
subtype  p_PUPD15 is                            integer range 31 downto 30;
subtype  p_PUPD is                              integer range 31 downto 0;
subtype range_PUPDR is                          integer range 31 downto 0;

constant at_IDR:                                integer := 16;
-- logical map
subtype  l_ID is                                integer range 15 downto 0;
-- physical map
subtype  p_ID is                                integer range 15 downto 0;
subtype range_IDR is                            integer range 15 downto 0;

constant at_ODR:                                integer := 20;
-- logical map
subtype  l_OD is                                integer range 15 downto 0;
-- physical map
subtype  p_OD is                                integer range 15 downto 0;
subtype range_ODR is                            integer range 15 downto 0;

constant at_BSRR:                               integer := 24;
-- logical map
subtype  l_BS is                                integer range 15 downto 0;
subtype  l_BR is                                integer range 31 downto 16;
-- physical map
subtype  p_BS is                                integer range 15 downto 0;
subtype  p_BR is                                integer range 31 downto 16;
subtype range_BSRR is                           integer range 31 downto 0;

constant at_LCKR:                               integer := 28;
-- logical map
subtype  l_LCK is                               integer range 15 downto 0;
constant l_LCKK:                                integer := 16;
-- physical map
subtype  p_LCK is                               integer range 15 downto 0;
constant p_LCKK:                                integer := 16;
subtype range_LCKR is                           integer range 16 downto 0;

-- logical map
subtype  l_AFSEL0 is                            integer range 3 downto 0;
subtype  l_AFSEL1 is                            integer range 7 downto 4;
subtype  l_AFSEL2 is                            integer range 11 downto 8;
subtype  l_AFSEL3 is                            integer range 15 downto 12;
subtype  l_AFSEL4 is                            integer range 19 downto 16;
subtype  l_AFSEL5 is                            integer range 23 downto 20;
subtype  l_AFSEL6 is                            integer range 27 downto 24;
subtype  l_AFSEL7 is                            integer range 31 downto 28;
subtype  l_AFSEL is                             integer range 31 downto 0;
-- physical map
subtype  p_AFSEL0 is                            integer range 3 downto 0;
subtype  p_AFSEL1 is                            integer range 7 downto 4;
subtype  p_AFSEL2 is                            integer range 11 downto 8;
subtype  p_AFSEL3 is                            integer range 15 downto 12;
subtype  p_AFSEL4 is                            integer range 19 downto 16;
subtype  p_AFSEL5 is                            integer range 23 downto 20;
subtype  p_AFSEL6 is                            integer range 27 downto 24;
subtype  p_AFSEL7 is                            integer range 31 downto 28;
subtype  p_AFSEL is                             integer range 31 downto 0;
subtype range_AFR is                            integer range 31 downto 0;
constant at_AFR_0:                              integer := 32;
constant at_AFR_1:                              integer := 36;
constant tabsize_AFR:                           integer := 2;
type tab_AFR is array (NATURAL range <>) of std_logic_vector(range_AFR);


end gpio_reg_pkg;
